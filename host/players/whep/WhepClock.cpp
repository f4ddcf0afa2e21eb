#include "host/players/whep/WhepClock.h"

#include <algorithm>

namespace vms::host {

int64_t WhepClock::Mapped(uint32_t timestampMs, Time now) {
    if (!anchor_)
        anchor_ = {timestampMs, 0, now};
    const auto behind = static_cast<int32_t>(timestampMs - anchor_->timestampMs);
    const int64_t time = anchor_->timeMs + behind;
    const int64_t wall =
        anchor_->timeMs +
        std::chrono::duration_cast<std::chrono::milliseconds>(now - anchor_->now).count();
    if (time - wall <= kLargestLead && wall - time <= kLargestLag) {
        anchor_ = {timestampMs, time, anchor_->now + std::chrono::milliseconds(behind)};
        return time;
    }
    anchor_ = {timestampMs, wall, now};
    return wall;
}

int64_t WhepClock::At(uint32_t timestampMs, bool isPicture, Time now) {
    const int64_t time = Mapped(timestampMs, now);
    if (!isPicture)
        return time;
    lastPicture_ = lastPicture_ ? std::max(*lastPicture_ + 1, time) : time;
    return *lastPicture_;
}

int64_t WhepClock::Before(int before, uint32_t newestMs, Time now) {
    const int64_t time = Mapped(newestMs, now) - before;
    lastPicture_ = lastPicture_ ? std::max(*lastPicture_ + 1, time) : time;
    return *lastPicture_;
}

}  // namespace vms::host
