#pragma once

#include "module/CommandRecord.h"
#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"

namespace vms {

/// One command for everything that moves: the body's "action" selects the operation.
class PtzCommand {
public:
    PtzCommand(ModuleContext& context, DeviceTable& devices)
        : context_(context), devices_(devices) {}

    void Control(const __tagTvCommand* command);

private:
    ModuleContext& context_;
    DeviceTable& devices_;
};

}  // namespace vms
