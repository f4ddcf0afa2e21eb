#pragma once

#include <functional>

#include "module/CommandRecord.h"
#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"

namespace vms {

/// Commands that read or set a property of one device: one call on its driver each. An unknown
/// device is answered -1 and "" without a call. Which driver results count as success differs by
/// command and is what hosts rely on.
class InformationCommands {
public:
    InformationCommands(ModuleContext& context, DeviceTable& devices)
        : context_(context), devices_(devices) {}

    /// One device's session as plain text; with an empty device identifier all sessions as an
    /// object, or no answer at all while no device is configured.
    void GetDevSessionId(const __tagTvCommand* command);
    void GetConnectType(const __tagTvCommand* command);
    void SetChannelName(const __tagTvCommand* command);
    void GetCapability(const __tagTvCommand* command);
    void DevTiming(const __tagTvCommand* command);
    void GetDevicePermission(const __tagTvCommand* command);
    void GetDeviceTime(const __tagTvCommand* command);
    void Transmission(const __tagTvCommand* command);

private:
    void AskDevice(const __tagTvCommand* command,
                   const std::function<void(IVideoDevice&, __tagTvCommand& response)>& ask);
    void GetAllSessionIds(const __tagTvCommand* command);

    ModuleContext& context_;
    DeviceTable& devices_;
};

}  // namespace vms
