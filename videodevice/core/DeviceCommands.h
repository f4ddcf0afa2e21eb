#pragma once

#include <functional>
#include <string>

#include "module/CommandRecord.h"
#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"

namespace vms {

/// Adds and removes devices. Neither command reports a failure: a body that names no device changes
/// nothing.
class DeviceCommands {
public:
    /// @param eraseSession ends the synchronous session of a key, if there is one
    DeviceCommands(ModuleContext& context, DeviceTable& devices,
                   std::function<void(const std::string& sessionKey)> eraseSession)
        : context_(context), devices_(devices), eraseSession_(std::move(eraseSession)) {}

    void Enqueue(const __tagTvCommand* command);
    void Dequeue(const __tagTvCommand* command);

private:
    ModuleContext& context_;
    DeviceTable& devices_;
    const std::function<void(const std::string& sessionKey)> eraseSession_;
};

}  // namespace vms
