#pragma once

#include "sim/httpdevice/api/ApiCall.h"

namespace vms::sim::httpdevice {

// What docs/device-protocol.md says of each path; none of them blocks or throws.

ApiAnswer LoginCapabilities(Device& device, const ApiCall& call);
ApiAnswer Login(Device& device, const ApiCall& call);
ApiAnswer Logout(Device& device, const ApiCall& call);
ApiAnswer Heartbeat(Device& device, const ApiCall& call);
ApiAnswer SecurityCapability(Device& device, const ApiCall& call);

ApiAnswer DeviceInfo(Device& device, const ApiCall& call);
ApiAnswer PlatformCapabilities(Device& device, const ApiCall& call);
ApiAnswer CapabilitiesV1(Device& device, const ApiCall& call);
ApiAnswer CapabilitiesV6(Device& device, const ApiCall& call);
ApiAnswer SystemTime(Device& device, const ApiCall& call);
ApiAnswer UserManager(Device& device, const ApiCall& call);

ApiAnswer Osd(Device& device, const ApiCall& call);
ApiAnswer RecordEncode(Device& device, const ApiCall& call);
ApiAnswer VideoEncode(Device& device, const ApiCall& call);
ApiAnswer RecordList(Device& device, const ApiCall& call);
ApiAnswer ManualAlarm(Device& device, const ApiCall& call);

ApiAnswer PtzControl(Device& device, const ApiCall& call);
ApiAnswer ZoomFocus(Device& device, const ApiCall& call);
ApiAnswer PtzCruiseTours(Device& device, const ApiCall& call);

}  // namespace vms::sim::httpdevice
