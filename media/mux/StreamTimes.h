#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace vms {

/// The times of a stream as a container wants them: from 0 on, never back within a track, going on
/// where those of the units jump because the source was sought, began anew or had nothing. Pictures
/// and sound stay together. Thread-bound.
class StreamTimes {
public:
    /// A track whose times go back by more, or ahead by more, has jumped; ms.
    static constexpr int64_t kBackward = 2000;
    static constexpr int64_t kForward = 10'000;
    /// How far the samples of a sound may stray from its units' times, ms.
    static constexpr int64_t kStray = 100;

    /// @param speed of playback, over 0: as many ms of the units are one here
    explicit StreamTimes(double speed = 1) : speed_(speed) {}

    /// When a picture is due, ms.
    int64_t OfPicture(uint32_t timestampMs);

    /// How long the newest picture is shown at least, as far as that can be told before the next
    /// one comes: a little less than the shortest time between pictures lately. 90 kHz.
    int64_t PictureDuration() const;

    /// When a frame of sound begins, in its samples: they are counted, so that they follow without
    /// a gap. @return nothing = leave the frame out: it lies before everything, or what has been
    /// written reaches beyond it
    std::optional<int64_t> OfSound(uint32_t timestampMs, int samples, int rate);

private:
    struct Track {
        bool begun = false;
        uint32_t unit = 0;  ///< timestamp of the newest unit
        int64_t time = 0;   ///< what it stands for, ms before the speed
    };

    int64_t Follow(Track& track, const Track& other, uint32_t timestampMs);

    const double speed_;
    Track pictures_;
    Track sound_;
    int64_t lastPicture_ = -1;
    std::array<int64_t, 16> steps_{};  ///< between the newest pictures, ms; 0 = not yet
    size_t nextStep_ = 0;
    int64_t nextSample_ = -1;  ///< -1 = none yet
    int rate_ = 0;             ///< of nextSample_
};

}  // namespace vms
