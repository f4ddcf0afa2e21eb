#pragma once

#include <atomic>

class ILogHandler;

/// The library-wide log sink, null = silent. Written by SetCallback of any module, read by every
/// thread; only ever accessed through SetLogSink and LogSink, which are atomic. Not owned.
extern __attribute__((visibility("default"))) ILogHandler* m_gLogCallback;

namespace vms {

inline void SetLogSink(ILogHandler* sink) {
    std::atomic_ref<ILogHandler*>(m_gLogCallback).store(sink, std::memory_order_release);
}

inline ILogHandler* LogSink() {
    return std::atomic_ref<ILogHandler*>(m_gLogCallback).load(std::memory_order_acquire);
}

}  // namespace vms

/// Writes a line if there is a sink: VMS_LOG(level, "Function", "format %s", text). Whoever uses it
/// includes platform/ILogHandler.h.
#define VMS_LOG(level, function, ...)                          \
    do {                                                       \
        if (ILogHandler* vmsLogSink = ::vms::LogSink())        \
            vmsLogSink->Log((level), (function), __VA_ARGS__); \
    } while (false)
