#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vms::host {

/// Reads a time: ISO 8601 ("2026-03-05T10:00:00Z", "20260305T100000+0100", "2026-03-05"; what is
/// left out is 0, without an offset it is UTC, fractions of a second are cut), or seconds since the
/// epoch as digits.
/// @return seconds since the epoch, UTC, from 0 to 2147483647 as modules count them; nothing when
/// it is neither
std::optional<int64_t> ParseTime(std::string_view text);

/// "2026-03-05T10:00:00Z". @param time seconds since the epoch, moved into the years 1970 to 9999
std::string IsoTime(int64_t time);

/// "2026-03-05T10:00:00.250Z". @param time the same in milliseconds
std::string IsoTimeMs(int64_t time);

/// Reads a month, "2026-03". @return its first second and the first of the next month
struct MonthRange {
    int64_t begin = 0;
    int64_t end = 0;
};
std::optional<MonthRange> ParseMonth(std::string_view text);

}  // namespace vms::host
