#include "media/recording/RecordingName.h"

#include <algorithm>
#include <ctime>

namespace vms {
namespace {

constexpr size_t kTimeLength = 16;  // YYYYMMDDTHHMMSSZ

struct TypeName {
    const char* text;
    int mask;
};
constexpr TypeName kTypes[] = {{"schedule", 1}, {"motion", 2}, {"alarm", 16}};

bool IsDigits(const std::string& text, size_t from, size_t count) {
    return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(from),
                       text.begin() + static_cast<std::ptrdiff_t>(from + count),
                       [](char c) { return c >= '0' && c <= '9'; });
}

int Number(const std::string& text, size_t from, size_t count) {
    int value = 0;
    for (size_t i = from; i < from + count; ++i)
        value = value * 10 + (text[i] - '0');
    return value;
}

std::tm UtcFields(int64_t ms) {
    const std::time_t seconds = ms / 1000;
    std::tm fields{};
    gmtime_r(&seconds, &fields);
    return fields;
}

std::optional<int64_t> ParseTime(const std::string& text) {
    if (text.size() < kTimeLength || text[8] != 'T' || text[15] != 'Z' || !IsDigits(text, 0, 8) ||
        !IsDigits(text, 9, 6))
        return std::nullopt;
    std::tm fields{};
    fields.tm_year = Number(text, 0, 4) - 1900;
    fields.tm_mon = Number(text, 4, 2) - 1;
    fields.tm_mday = Number(text, 6, 2);
    fields.tm_hour = Number(text, 9, 2);
    fields.tm_min = Number(text, 11, 2);
    fields.tm_sec = Number(text, 13, 2);
    const int64_t ms = static_cast<int64_t>(timegm(&fields)) * 1000;
    // A field out of range has been carried over into another moment.
    return ms > 0 && TimeText(ms) == text.substr(0, kTimeLength) ? std::optional(ms) : std::nullopt;
}

int ParseType(const std::string& text) {
    for (const TypeName& type : kTypes) {
        if (text == type.text)
            return type.mask;
    }
    return 0;
}

bool IsMediaExtension(const std::string& text) {
    return text == "mp4" || text == "mkv" || text == "ts";
}

}  // namespace

std::optional<RecordingName> ParseRecordingName(const std::string& name) {
    const std::optional<int64_t> start = ParseTime(name);
    const size_t dot = name.rfind('.');
    if (!start || dot == std::string::npos || dot <= kTimeLength || name[kTimeLength] != '_')
        return std::nullopt;
    const int type = ParseType(name.substr(kTimeLength + 1, dot - kTimeLength - 1));
    if (type == 0 || !IsMediaExtension(name.substr(dot + 1)))
        return std::nullopt;
    return RecordingName{*start, type};
}

int DayNumber(int64_t ms) {
    const std::tm fields = UtcFields(ms);
    return (fields.tm_year + 1900) * 10000 + (fields.tm_mon + 1) * 100 + fields.tm_mday;
}

std::string TimeText(int64_t ms) {
    const std::tm fields = UtcFields(ms);
    char text[32];
    const size_t length = std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &fields);
    return std::string(text, length);
}

}  // namespace vms
