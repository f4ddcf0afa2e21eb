#pragma once

#include "platform/ILogHandler.h"

/// The library-wide log sink, null = silent. Written by SetCallback of any module, read by every
/// thread; only ever accessed through SetLogSink and LogSink, which are atomic. Not owned.
extern __attribute__((visibility("default"))) ILogHandler* m_gLogCallback;

namespace vms {

void SetLogSink(ILogHandler* sink);
ILogHandler* LogSink();

}  // namespace vms

/// Writes a line if there is a sink: VMS_LOG(level, "Function", "format %s", text).
#define VMS_LOG(level, function, ...)                          \
    do {                                                       \
        if (ILogHandler* vmsLogSink = ::vms::LogSink())        \
            vmsLogSink->Log((level), (function), __VA_ARGS__); \
    } while (false)
