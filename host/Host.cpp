#include "host/Host.h"

#include "platform/CreateCommandBusInstance.h"

namespace vms {

Host::BusLog::BusLog(LogPrinting printing) : sink("bus", printing) {
    SetCommandBusLog(&sink);
}

Host::BusLog::~BusLog() {
    SetCommandBusLog(nullptr);
}

Host::Host(const HostOptions& options)
    : signals_(options.signals),
      moduleLog_("module", options.printing),
      busLog_(options.printing),
      modules_(bus_, moduleLog_) {}

Host::~Host() = default;

}  // namespace vms
