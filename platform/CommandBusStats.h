#pragma once

#include <cstdint>

#include "platform/Export.h"

namespace vms {

/// Figures of a bus. Totals count since the bus was made and never decrease.
struct CommandBusStats {
    uint64_t posted = 0;                ///< requests accepted
    uint64_t refused = 0;               ///< requests turned away because too many were waiting
    uint64_t handled = 0;               ///< requests whose handler has ended, thrown or not
    uint64_t threw = 0;                 ///< of those, the ones whose handler threw
    uint64_t responses = 0;             ///< answers accepted for delivery
    uint64_t droppedResponses = 0;      ///< answers nobody waited for, or that found the queue full
    uint64_t notifications = 0;         ///< notifications accepted, counted once per subscriber
    uint64_t droppedNotifications = 0;  ///< notifications that found the queue full, likewise
    uint64_t expired = 0;               ///< posted requests forgotten for want of an answer
    uint64_t workers = 0;               ///< worker threads now
    uint64_t queued = 0;                ///< requests accepted and not started now
};

/// Figures of the process-wide bus. Thread-safe; the members are not read at one instant.
VMS_PLATFORM_API CommandBusStats GetCommandBusStats();

}  // namespace vms
