#include "platform/CreateCommandBusInstance.h"

#include "platform/CommandBus.h"
#include "platform/CommandBusStats.h"

namespace {

/// Made when the library is loaded and so, whatever modules are loaded later, destroyed after them.
vms::CommandBus commandBus;

}  // namespace

ICommandBus* CreateCommandBusInstance() {
    return &commandBus;
}

namespace vms {

void SetCommandBusLog(ILogHandler* log) {
    commandBus.SetLog(log);
}

CommandBusStats GetCommandBusStats() {
    return commandBus.Stats();
}

}  // namespace vms
