#pragma once

#include <optional>

namespace vms::mediafile {

/// How fast a recording runs. Written as one integer: n > 0 is n times as fast, n < 0 is 1/|n|,
/// 0 is normal speed.
struct PlaybackSpeed {
    int numerator = 1;
    int denominator = 1;

    /// @return nothing outside a quarter to sixteen times
    static constexpr std::optional<PlaybackSpeed> FromCode(int code) {
        if (code < -4 || code > 16)
            return std::nullopt;
        if (code < 0)
            return PlaybackSpeed{1, -code};
        return PlaybackSpeed{code == 0 ? 1 : code, 1};
    }

    constexpr bool IsNormal() const { return numerator == denominator; }
    /// Too fast for every picture: key pictures only.
    constexpr bool KeyFramesOnly() const { return numerator > 4 * denominator; }
};

/// The lowest integer speed that sends key pictures only.
inline constexpr int kSpeedOnlyKeyFrames = 5;

}  // namespace vms::mediafile
