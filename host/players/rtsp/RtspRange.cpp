#include "host/players/rtsp/RtspRange.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "host/text/IsoTime.h"

namespace vms::host {
namespace {

constexpr double kMostSeconds = 1e9;
constexpr int kFastest = 16;
constexpr int kSlowest = -4;

/// All of the text, 0 or more.
std::optional<double> ReadNumber(std::string_view text) {
    double number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (error != std::errc() || end != text.data() + text.size() || !(number >= 0) ||
        number > kMostSeconds)
        return std::nullopt;
    return number;
}

/// "12.5" or "1:02:03.5".
std::optional<int64_t> ReadNormalTime(std::string_view text) {
    double seconds = 0;
    for (int parts = 0; parts < 3; ++parts) {
        const size_t colon = std::min(text.find(':'), text.size());
        const auto part = ReadNumber(text.substr(0, colon));
        if (!part)
            return std::nullopt;
        seconds = seconds * 60 + *part;
        if (colon == text.size())
            return std::llround(seconds * 1000);
        text.remove_prefix(colon + 1);
    }
    return std::nullopt;
}

/// "20240502T080000.25Z".
std::optional<int64_t> ReadClockTime(std::string_view text) {
    const auto seconds = ParseTime(text);
    if (!seconds)
        return std::nullopt;
    const size_t point = text.find('.');
    if (point == text.npos)
        return *seconds * 1000;
    const size_t end = std::min(text.find_first_not_of("0123456789", point + 1), text.size());
    const auto fraction = ReadNumber("0" + std::string(text.substr(point, end - point)) +
                                     (end == point + 1 ? "0" : ""));
    return fraction ? std::optional(*seconds * 1000 + std::llround(*fraction * 1000))
                    : std::nullopt;
}

/// The first of a range's two times; a date has no "-" in these.
std::string_view StartOf(std::string_view range) {
    return range.substr(0, std::min(range.find_first_of("-;"), range.size()));
}

}  // namespace

std::optional<RtspRange> ReadRtspRange(std::string_view header) {
    RtspRange range;
    range.isClock = header.starts_with("clock=");
    if (!range.isClock && !header.starts_with("npt="))
        return std::nullopt;
    header.remove_prefix(range.isClock ? 6 : 4);
    const std::string_view start = StartOf(header);
    if (start.empty() || start == "now")
        return range;
    range.startMs = range.isClock ? ReadClockTime(start) : ReadNormalTime(start);
    return range.startMs ? std::optional(range) : std::nullopt;
}

std::string RtspRangeText(bool isClock, int64_t startMs, int64_t endMs) {
    if (!isClock) {
        char text[64];
        std::snprintf(text, sizeof text, "npt=%.3f-%.3f", static_cast<double>(startMs) / 1000,
                      static_cast<double>(endMs) / 1000);
        return text;
    }
    const auto basic = [](int64_t ms) {
        std::string text = IsoTimeMs(ms);
        std::erase_if(text, [](char letter) { return letter == '-' || letter == ':'; });
        return text;
    };
    return "clock=" + basic(startMs) + "-" + basic(endMs);
}

int ReadRtspScale(std::string_view header) {
    const auto scale = ReadNumber(header);
    if (!scale || *scale == 0)
        return 1;
    if (*scale >= 1)
        return static_cast<int>(std::min<double>(std::round(*scale), kFastest));
    const auto slow = static_cast<int>(-std::min(std::round(1 / *scale), -1.0 * kSlowest));
    return slow == -1 ? 1 : slow;
}

double RtspScaleOf(int speed) {
    return speed < 0 ? -1.0 / speed : std::max(speed, 1);
}

std::string RtspScaleText(int speed) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6f", RtspScaleOf(speed));
    return text;
}

}  // namespace vms::host
