#include "media/mux/StreamTimes.h"

#include <algorithm>
#include <cmath>

namespace vms {
namespace {

/// From a jump's one side to the other, ms.
constexpr int64_t kStep = 40;

constexpr int64_t kThousand = 1000;

constexpr double kShortPicture = 20;  ///< ms; few streams have more than 50 pictures a second
constexpr double kTicks = 90;         ///< in a ms
constexpr double kMargin = 0.9;

/// Timestamps wrap.
int64_t Distance(uint32_t from, uint32_t to) {
    return static_cast<int32_t>(to - from);
}

bool IsJump(int64_t distance) {
    return distance < -StreamTimes::kBackward || distance > StreamTimes::kForward;
}

}  // namespace

/// A unit's time: from its track's last one on; after a jump from the other track's, if that has
/// jumped already.
int64_t StreamTimes::Follow(Track& track, const Track& other, uint32_t timestampMs) {
    const int64_t step = Distance(track.unit, timestampMs);
    const int64_t across = Distance(other.unit, timestampMs);
    if (track.begun && !IsJump(step))
        track.time += step;
    else if (other.begun && !IsJump(across))
        track.time = other.time + across;
    else if (track.begun || other.begun)
        track.time = std::max(track.time, other.time) + kStep;
    track.begun = true;
    track.unit = timestampMs;
    return track.time;
}

int64_t StreamTimes::OfPicture(uint32_t timestampMs) {
    const auto due =
        static_cast<int64_t>(static_cast<double>(Follow(pictures_, sound_, timestampMs)) / speed_);
    const int64_t before = lastPicture_;
    lastPicture_ = std::max(due, lastPicture_ + 1);
    if (before >= 0) {
        steps_[nextStep_] = lastPicture_ - before;
        nextStep_ = (nextStep_ + 1) % steps_.size();
    }
    return lastPicture_;
}

int64_t StreamTimes::PictureDuration() const {
    int64_t shortest = 0;
    for (const int64_t step : steps_) {
        if (step > 0 && (shortest == 0 || step < shortest))
            shortest = step;
    }
    const double ms = shortest > 0 ? static_cast<double>(shortest) : kShortPicture / speed_;
    return std::max<int64_t>(1, std::llround(ms * kTicks * kMargin));
}

std::optional<int64_t> StreamTimes::OfSound(uint32_t timestampMs, int samples, int rate) {
    const int64_t time = Follow(sound_, pictures_, timestampMs);
    if (rate != rate_ && nextSample_ >= 0)
        nextSample_ = nextSample_ * rate / rate_;
    rate_ = rate;
    const int64_t due = time * rate / kThousand;
    const int64_t stray = kStray * rate / kThousand;
    if (nextSample_ < 0 || due > nextSample_ + stray) {
        if (due < 0)
            return std::nullopt;
        nextSample_ = std::max(due, nextSample_);
    } else if (nextSample_ > due + stray) {
        return std::nullopt;
    }
    const int64_t begin = nextSample_;
    nextSample_ += samples;
    return begin;
}

}  // namespace vms
