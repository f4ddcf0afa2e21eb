#pragma once

#include <string>

#include "module/DeviceRecords.h"

namespace vms {

/// Reads the body of a device test: one device description, or an array whose first element is
/// taken. Members of another type than expected are left at their default.
/// @return false when the body is not JSON
bool ReadTestDevice(const std::string& body, __tagTvVideoParam& device);

}  // namespace vms
