#pragma once

#include <cstdint>

#include "platform/Mutex.h"
#include "sim/httpdevice/api/Sessions.h"

namespace vms::sim::httpdevice {

/// Where a stream is in its recording: media time that runs with the wall clock at a speed, stands
/// still, and jumps. Shared by the channels of synchronous playback; safe from several threads.
class MediaClock {
public:
    /// What one look at the clock shows; all of it belongs together.
    struct View {
        int64_t mediaMs = 0;
        double speed = 1;
        bool running = false;
        bool onlyKeyFrames = false;
        uint16_t generation = 0;
    };

    MediaClock(int64_t startMs, bool running, Clock::time_point now);

    View At(Clock::time_point now) const VMS_EXCLUDES(mutex_);
    /// When the clock will show that time if nothing changes; time_point::max() while it stands.
    Clock::time_point When(int64_t mediaMs, Clock::time_point now) const VMS_EXCLUDES(mutex_);

    void Run(Clock::time_point now) VMS_EXCLUDES(mutex_);
    void Pause(Clock::time_point now) VMS_EXCLUDES(mutex_);
    void SetSpeed(Clock::time_point now, double speed, bool onlyKeyFrames) VMS_EXCLUDES(mutex_);
    /// Starts a new generation.
    void Seek(Clock::time_point now, int64_t mediaMs) VMS_EXCLUDES(mutex_);
    /// Jumps forward within the generation, over what is not recorded.
    void SkipTo(Clock::time_point now, int64_t mediaMs) VMS_EXCLUDES(mutex_);

private:
    int64_t MediaAt(Clock::time_point now) const VMS_REQUIRES(mutex_);
    void Settle(Clock::time_point now) VMS_REQUIRES(mutex_);

    mutable Mutex mutex_;
    int64_t baseMs_ VMS_GUARDED_BY(mutex_);
    Clock::time_point since_ VMS_GUARDED_BY(mutex_);
    double speed_ VMS_GUARDED_BY(mutex_) = 1;
    bool running_ VMS_GUARDED_BY(mutex_);
    bool onlyKeyFrames_ VMS_GUARDED_BY(mutex_) = false;
    uint16_t generation_ VMS_GUARDED_BY(mutex_) = 0;
};

}  // namespace vms::sim::httpdevice
