#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vms::host {

/// From where a player wants to watch: a Range header (RFC 2326, 12.29).
struct RtspRange {
    bool isClock = false;  ///< told by the wall clock, else from the beginning of what is played
    std::optional<int64_t> startMs;  ///< since the epoch, or since the beginning; nothing = from
                                     ///< where it is
};

/// Reads one in "npt=" or "clock="; where it ends is not looked at. @return nothing when it is
/// neither
std::optional<RtspRange> ReadRtspRange(std::string_view header);

/// How an answer tells a range. @param startMs, endMs as in RtspRange
std::string RtspRangeText(bool isClock, int64_t startMs, int64_t endMs);

/// Reads a Scale header. @return the speed as sources count it (n: n times, -n: 1/n) nearest to it,
/// from a quarter to 16 times; 1 for what is no such number
int ReadRtspScale(std::string_view header);

/// "0.250000". @param speed as sources count it
std::string RtspScaleText(int speed);

/// How many times as fast. @param speed as sources count it
double RtspScaleOf(int speed);

}  // namespace vms::host
