#include "host/modules/Host.h"

#include "platform/CreateCommandBusInstance.h"
#include "platform/WebSocketSettings.h"

namespace vms::host {

Host::PlatformLog::PlatformLog(LogPrinting printing) : sink("platform", printing) {
    SetCommandBusLog(&sink);
    SetWebSocketLog(&sink);
}

Host::PlatformLog::~PlatformLog() {
    SetCommandBusLog(nullptr);
    SetWebSocketLog(nullptr);
}

Host::Host(const HostOptions& options)
    : signals_(options.signals),
      moduleLog_("module", options.printing),
      platformLog_(options.printing),
      modules_(bus_, moduleLog_) {}

Host::~Host() = default;

}  // namespace vms::host
