#pragma once

#include <array>
#include <memory>
#include <string>
#include <utility>

#include "platform/Mutex.h"
#include "sim/httpdevice/PtzHead.h"
#include "sim/httpdevice/media/Timeline.h"

namespace vms::sim::httpdevice {

inline constexpr int kAlarmOutputs = 4;

/// One channel of a device: what clients can change of it, and its recordings. Lock `mutex` around
/// the members that it guards.
struct Channel {
    explicit Channel(std::string channelName, std::shared_ptr<const Timeline> recordings)
        : timeline(std::move(recordings)), name(std::move(channelName)) {}

    const std::shared_ptr<const Timeline> timeline;

    Mutex mutex;
    std::string name VMS_GUARDED_BY(mutex);
    PtzHead ptz VMS_GUARDED_BY(mutex);
    std::array<bool, kAlarmOutputs> alarms VMS_GUARDED_BY(mutex){};
};

}  // namespace vms::sim::httpdevice
