#include "host/text/IsoTime.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>

namespace vms::host {
namespace {

constexpr int64_t kHighest = INT32_MAX;
constexpr int64_t kEndOf9999 = 253402300799;
constexpr size_t kLongest = 40;

/// Takes a time apart, piece by piece.
class TimeText {
public:
    explicit TimeText(std::string_view text) : rest_(text) {}

    bool AtEnd() const { return rest_.empty(); }

    bool Take(char letter) {
        if (rest_.empty() || rest_.front() != letter)
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    /// Exactly so many digits.
    bool TakeNumber(size_t digits, int& number) {
        if (rest_.size() < digits || !IsDigits(rest_.substr(0, digits)))
            return false;
        std::from_chars(rest_.data(), rest_.data() + digits, number);
        rest_.remove_prefix(digits);
        return true;
    }

    void SkipFraction() {
        if (!Take('.') && !Take(','))
            return;
        rest_.remove_prefix(static_cast<size_t>(
            std::find_if_not(rest_.begin(), rest_.end(), IsDigit) - rest_.begin()));
    }

    bool NextIsDigit() const { return !rest_.empty() && IsDigit(rest_.front()); }

    static bool IsDigits(std::string_view text) {
        return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
    }

private:
    static bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

    std::string_view rest_;
};

bool TakeDate(TimeText& text, std::chrono::year_month_day& date) {
    int year = 0;
    int month = 0;
    int day = 0;
    if (!text.TakeNumber(4, year))
        return false;
    const bool hasDashes = text.Take('-');
    if (!text.TakeNumber(2, month) || text.Take('-') != hasDashes || !text.TakeNumber(2, day))
        return false;
    date = std::chrono::year(year) / month / day;
    return date.ok();
}

/// Hours, then minutes and seconds as far as they are there.
bool TakeClock(TimeText& text, int64_t& seconds) {
    int hours = 0;
    int minutes = 0;
    int rest = 0;
    if (!text.TakeNumber(2, hours))
        return false;
    bool hasColons = text.Take(':');
    if ((hasColons || text.NextIsDigit()) && !text.TakeNumber(2, minutes))
        return false;
    hasColons = text.Take(':');
    if ((hasColons || text.NextIsDigit()) && !text.TakeNumber(2, rest))
        return false;
    text.SkipFraction();
    seconds = hours * 3600 + minutes * 60 + rest;
    return hours < 24 && minutes < 60 && rest < 61;
}

/// "Z", "+01:00", "+0100", "+01" or nothing.
bool TakeOffset(TimeText& text, int64_t& seconds) {
    if (text.AtEnd() || text.Take('Z') || text.Take('z'))
        return true;
    const bool isWest = text.Take('-');
    // A "+" of a query that has not been encoded arrives as a blank.
    if (!isWest && !text.Take('+') && !text.Take(' '))
        return false;
    int hours = 0;
    int minutes = 0;
    if (!text.TakeNumber(2, hours))
        return false;
    if ((text.Take(':') || text.NextIsDigit()) && !text.TakeNumber(2, minutes))
        return false;
    seconds = (hours * 3600 + minutes * 60) * (isWest ? -1 : 1);
    return hours < 24 && minutes < 60;
}

std::optional<int64_t> InRange(int64_t time) {
    return time >= 0 && time <= kHighest ? std::optional(time) : std::nullopt;
}

std::optional<int64_t> ParseSeconds(std::string_view text) {
    int64_t time = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), time);
    return error == std::errc() && end == text.data() + text.size() ? InRange(time) : std::nullopt;
}

int64_t FirstSecond(std::chrono::year_month month) {
    const std::chrono::sys_days day(month / 1);
    return std::chrono::duration_cast<std::chrono::seconds>(day.time_since_epoch()).count();
}

std::string Formatted(int64_t time, const char* fraction) {
    const std::chrono::sys_seconds moment{
        std::chrono::seconds(std::clamp<int64_t>(time, 0, kEndOf9999))};
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(day);
    const auto clock = (moment - day).count();
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d%sZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock / 3600),
                  static_cast<int>(clock / 60 % 60), static_cast<int>(clock % 60), fraction);
    return text;
}

}  // namespace

std::optional<int64_t> ParseTime(std::string_view text) {
    if (text.size() > kLongest)
        return std::nullopt;
    // Eight digits are a date; that many seconds lie in 1970.
    if (text.size() != 8 && TimeText::IsDigits(text))
        return ParseSeconds(text);
    TimeText rest(text);
    std::chrono::year_month_day date;
    int64_t clock = 0;
    int64_t offset = 0;
    if (!TakeDate(rest, date))
        return std::nullopt;
    if (rest.Take('T') || rest.Take('t') || (text.size() > 10 && rest.Take(' '))) {
        if (!TakeClock(rest, clock) || !TakeOffset(rest, offset))
            return std::nullopt;
    }
    if (!rest.AtEnd())
        return std::nullopt;
    const auto day = std::chrono::sys_days(date).time_since_epoch();
    return InRange(std::chrono::duration_cast<std::chrono::seconds>(day).count() + clock - offset);
}

std::string IsoTime(int64_t time) {
    return Formatted(time, "");
}

std::string IsoTimeMs(int64_t time) {
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%03d",
                  static_cast<int>(std::max<int64_t>(time, 0) % 1000));
    return Formatted(std::max<int64_t>(time, 0) / 1000, fraction);
}

std::optional<MonthRange> ParseMonth(std::string_view text) {
    TimeText rest(text);
    int year = 0;
    int month = 0;
    if (!rest.TakeNumber(4, year) || (rest.Take('-'), !rest.TakeNumber(2, month)) || !rest.AtEnd())
        return std::nullopt;
    const std::chrono::year_month first = std::chrono::year(year) / month;
    if (!first.ok())
        return std::nullopt;
    const MonthRange range{FirstSecond(first), FirstSecond(first + std::chrono::months(1))};
    if (!InRange(range.begin) || !InRange(range.end))
        return std::nullopt;
    return range;
}

}  // namespace vms::host
