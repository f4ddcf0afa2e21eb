#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <vector>

#include "drivers/mediafile/device/PtzMotion.h"
#include "module/PtzRecords.h"
#include "platform/Mutex.h"

namespace vms::mediafile {

/// The imagined pan-tilt-zoom head of a channel: turns in real time, keeps presets (0..255) and
/// runs cruises (0..31) over them until told otherwise. Thread-safe; forgets everything with its
/// device. Results: 0 done, -1 refused.
class PtzHead {
public:
    using TimePoint = PtzMotion::TimePoint;

    explicit PtzHead(std::function<TimePoint()> now = std::chrono::steady_clock::now)
        : now_(std::move(now)) {}

    PtzPosition Position() VMS_EXCLUDES(mutex_);

    /// opt 0 turns: 1 up, 2 down, 3 left, 4 right, 5 left up, 6 right up, 7 left down, 8 right
    /// down; opt 1 zooms in (is_add 1) or out (0). is_press 1 begins, 0 ends. speed 0 = the set
    /// one.
    int Control(const __tagTvPtzParam& param) VMS_EXCLUDES(mutex_);
    int Speed() VMS_EXCLUDES(mutex_);
    int SetSpeed(int speed) VMS_EXCLUDES(mutex_);

    std::list<__tagTvPtzPresetParam> Presets() VMS_EXCLUDES(mutex_);
    /// Stores where the head looks now. A read-only preset is never replaced nor deleted.
    int AddPreset(const __tagTvPtzPresetParam& preset) VMS_EXCLUDES(mutex_);
    int DelPreset(int index) VMS_EXCLUDES(mutex_);
    int CallPreset(int index, int speed) VMS_EXCLUDES(mutex_);

    /// @param index -1 = the first one
    int GetCruise(int index, __tagTvPtzCruiseParam& cruise) VMS_EXCLUDES(mutex_);
    /// Replaces one of the same index. @return -1 also for more than 64 stops or an unknown preset
    int AddCruise(const __tagTvPtzCruiseParam& cruise) VMS_EXCLUDES(mutex_);
    int DelCruise(int index) VMS_EXCLUDES(mutex_);
    /// @return -1 also for a cruise without stops
    int StartCruise(int index) VMS_EXCLUDES(mutex_);
    /// @param index -1 = whichever runs
    int StopCruise(int index) VMS_EXCLUDES(mutex_);

private:
    struct Preset {
        __tagTvPtzPresetParam record;
        PtzPosition position;
    };
    struct Stop {
        PtzPosition position;
        int speed;
        std::chrono::seconds dwell;
    };
    /// A cruise on its way; without stops when none is.
    struct Tour {
        int index = -1;
        std::vector<Stop> stops;
        size_t next = 0;  ///< the stop the head is moving to or dwelling at
    };

    /// Brings a running cruise up to date. @return the current time
    TimePoint Advance() VMS_REQUIRES(mutex_);
    int Turn(TimePoint now, const __tagTvPtzParam& param) VMS_REQUIRES(mutex_);
    int Zoom(TimePoint now, const __tagTvPtzParam& param) VMS_REQUIRES(mutex_);
    void Go(TimePoint now, const PtzPosition& target, int speed) VMS_REQUIRES(mutex_);
    std::vector<Stop> StopsOf(const __tagTvPtzCruiseParam& cruise) const VMS_REQUIRES(mutex_);

    const std::function<TimePoint()> now_;

    Mutex mutex_;
    PtzMotion motion_ VMS_GUARDED_BY(mutex_);
    int speed_ VMS_GUARDED_BY(mutex_) = 5;
    std::map<int, Preset> presets_ VMS_GUARDED_BY(mutex_);
    std::map<int, __tagTvPtzCruiseParam> cruises_ VMS_GUARDED_BY(mutex_);
    Tour tour_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::mediafile
