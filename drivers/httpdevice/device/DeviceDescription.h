#pragma once

#include "drivers/httpdevice/device/DeviceProfile.h"
#include "module/DeviceRecords.h"

namespace vms::httpdevice {

/// What a device says of itself, as the answer to a device test. "devtype" is 1 for a camera, 2 for
/// a recorder. Blocks as DeviceConnection::Call does.
/// @return false when it does not say
bool DescribeDevice(DeviceConnection& device, const DeviceProfile& profile,
                    __tagTvSearchDeviceParam& info);

}  // namespace vms::httpdevice
