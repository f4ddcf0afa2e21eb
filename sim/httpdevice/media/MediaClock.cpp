#include "sim/httpdevice/media/MediaClock.h"

#include <algorithm>

namespace vms::sim::httpdevice {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

// Above this speed a device sends key frames only.
constexpr double kFullFrameSpeed = 4;

}  // namespace

MediaClock::MediaClock(int64_t startMs, bool running, Clock::time_point now)
    : baseMs_(startMs), since_(now), running_(running) {}

int64_t MediaClock::MediaAt(Clock::time_point now) const {
    if (!running_)
        return baseMs_;
    return baseMs_ + static_cast<int64_t>(Milliseconds(now - since_).count() * speed_);
}

void MediaClock::Settle(Clock::time_point now) {
    baseMs_ = MediaAt(now);
    since_ = now;
}

MediaClock::View MediaClock::At(Clock::time_point now) const {
    MutexLock lock(mutex_);
    return {MediaAt(now), speed_, running_, onlyKeyFrames_ || speed_ > kFullFrameSpeed,
            generation_};
}

Clock::time_point MediaClock::When(int64_t mediaMs, Clock::time_point now) const {
    MutexLock lock(mutex_);
    if (!running_)
        return Clock::time_point::max();
    const double ahead = static_cast<double>(std::max<int64_t>(0, mediaMs - MediaAt(now)));
    // Rounded up: woken a moment early, a stream would find nothing due and ask again at once.
    return now + std::chrono::ceil<std::chrono::milliseconds>(Milliseconds(ahead / speed_));
}

void MediaClock::Run(Clock::time_point now) {
    MutexLock lock(mutex_);
    Settle(now);
    running_ = true;
}

void MediaClock::Pause(Clock::time_point now) {
    MutexLock lock(mutex_);
    Settle(now);
    running_ = false;
}

void MediaClock::SetSpeed(Clock::time_point now, double speed, bool onlyKeyFrames) {
    MutexLock lock(mutex_);
    Settle(now);
    speed_ = speed;
    onlyKeyFrames_ = onlyKeyFrames;
}

void MediaClock::Seek(Clock::time_point now, int64_t mediaMs) {
    MutexLock lock(mutex_);
    baseMs_ = mediaMs;
    since_ = now;
    ++generation_;
}

void MediaClock::SkipTo(Clock::time_point now, int64_t mediaMs) {
    MutexLock lock(mutex_);
    baseMs_ = std::max(MediaAt(now), mediaMs);
    since_ = now;
}

}  // namespace vms::sim::httpdevice
