#pragma once

#include <atomic>

#include "module/LogSink.h"

namespace vms {

/// The library-wide log sink as device families see it; null = silent. Thread-safe.
inline ILogHandler* DriverLogSink() {
    return std::atomic_ref<ILogHandler*>(m_gLogCallback).load(std::memory_order_acquire);
}

}  // namespace vms

/// Writes a line if there is a sink: VMS_DRIVER_LOG(level, "Function", "format %s", text).
#define VMS_DRIVER_LOG(level, function, ...)                         \
    do {                                                             \
        if (ILogHandler* vmsDriverLogSink = ::vms::DriverLogSink())  \
            vmsDriverLogSink->Log((level), (function), __VA_ARGS__); \
    } while (false)
