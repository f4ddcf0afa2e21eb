#pragma once

#include <string>

#include "drivers/httpdevice/device/DeviceProfile.h"

namespace vms::httpdevice {

/// Carries out a transparent request: a path of the device's API beginning with "/api/", whose
/// answer is passed on whatever its code, or one of the driver's own names. Blocks as
/// DeviceConnection::Call does.
/// @param request JSON; "" = {"action":"get"}. @param body the answer, or {"error": text}
/// @return -1 with an error
int Transmit(DeviceConnection& device, const DeviceProfile& profile, const std::string& uri,
             const std::string& request, std::string& body);

/// The body of a request that was not carried out.
std::string RefusedTransmission(const char* error);

}  // namespace vms::httpdevice
