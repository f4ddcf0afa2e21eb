#pragma once

#include "platform/ILogHandler.h"

namespace vms {

/// Where this library's lines go; asked for each line, null = silent.
using MediaLogSource = ILogHandler* (*)();

/// Of this image: whoever links the library says so once. Thread-safe.
void SetMediaLog(MediaLogSource source);
ILogHandler* MediaLog();

}  // namespace vms

/// Writes a line if there is a sink: VMS_MEDIA_LOG(level, "Function", "format %s", text).
#define VMS_MEDIA_LOG(level, function, ...)                     \
    do {                                                        \
        if (ILogHandler* vmsMediaLog = ::vms::MediaLog())       \
            vmsMediaLog->Log((level), (function), __VA_ARGS__); \
    } while (false)
