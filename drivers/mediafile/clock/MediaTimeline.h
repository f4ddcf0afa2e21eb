#pragma once

#include <chrono>
#include <cstdint>

#include "drivers/mediafile/clock/PlaybackSpeed.h"

namespace vms::mediafile {

/// A straight line from running time to media time (ms). A value; not synchronised.
class MediaTimeline {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Lets the line pass through a point, keeping its slope.
    void Anchor(TimePoint wall, int64_t mediaMs) {
        wall_ = wall;
        mediaMs_ = mediaMs;
    }
    void SetSpeed(PlaybackSpeed speed) { speed_ = speed; }

    PlaybackSpeed Speed() const { return speed_; }
    int64_t AnchorMs() const { return mediaMs_; }

    int64_t At(TimePoint wall) const {
        const int64_t elapsedNs = std::chrono::nanoseconds(wall - wall_).count();
        return mediaMs_ + elapsedNs * speed_.numerator / speed_.denominator / kNsPerMs;
    }

    /// The first moment at which At() has reached a media time.
    TimePoint When(int64_t mediaMs) const {
        const int64_t scaled = (mediaMs - mediaMs_) * speed_.denominator;
        const int64_t ns = (scaled * kNsPerMs + speed_.numerator - 1) / speed_.numerator;
        return wall_ + std::chrono::nanoseconds(ns);
    }

private:
    static constexpr int64_t kNsPerMs = 1'000'000;

    TimePoint wall_{};
    int64_t mediaMs_ = 0;
    PlaybackSpeed speed_;
};

}  // namespace vms::mediafile
