#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

namespace vms::httpdevice {

/// From this speed on only key frames come.
inline constexpr int kSpeedOnlyKeyFrames = 5;

/// The factor of a speed as requests write it: n > 0 is n times, -n is 1/n, 0 is normal.
/// @return nothing outside -8..16
inline std::optional<double> SpeedFactor(int code) {
    constexpr int kSlowest = -8;
    constexpr int kFastest = 16;
    if (code < kSlowest || code > kFastest)
        return std::nullopt;
    if (code < 0)
        return 1.0 / -code;
    return code == 0 ? 1.0 : code;
}

/// The second of a range that is nearest to a time: from its begin on, before its end if it has any
/// length. All in seconds since the epoch.
inline int WithinRange(int64_t time, int beginTime, int endTime) {
    const int64_t last = std::max(int64_t{beginTime}, int64_t{endTime} - 1);
    return static_cast<int>(std::clamp(time, int64_t{beginTime}, last));
}

}  // namespace vms::httpdevice
