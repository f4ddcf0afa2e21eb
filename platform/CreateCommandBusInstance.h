#pragma once

#include "module/ICommandBus.h"
#include "platform/Export.h"

class ILogHandler;

/// The process-wide bus: every call returns the same object, which is never freed. Thread-safe.
VMS_PLATFORM_API ICommandBus* CreateCommandBusInstance();

namespace vms {

/// Where the bus reports handlers that threw and records it had to drop; null = nowhere.
/// Thread-safe.
VMS_PLATFORM_API void SetCommandBusLog(ILogHandler* log);

}  // namespace vms
