#include "host/Host.h"

#include "platform/CreateCommandBusInstance.h"

namespace vms {

Host::BusLog::BusLog(bool verbose) : sink("bus", verbose) {
    SetCommandBusLog(&sink);
}

Host::BusLog::~BusLog() {
    SetCommandBusLog(nullptr);
}

Host::Host(const HostOptions& options)
    : signals_(options.stopSignals),
      moduleLog_("module", options.verbose),
      busLog_(options.verbose),
      modules_(bus_, moduleLog_) {}

Host::~Host() = default;

}  // namespace vms
