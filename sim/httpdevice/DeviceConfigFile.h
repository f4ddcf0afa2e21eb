#pragma once

#include <string>
#include <vector>

#include "sim/httpdevice/DeviceConfig.h"

namespace vms::sim::httpdevice {

/// Reads {"defaults": {...}, "devices": [{...}]}.
/// @param base what entries leave out
/// @throws std::invalid_argument with a text for the user
std::vector<DeviceConfig> ReadDeviceFile(const std::string& path, const DeviceConfig& base);

/// Gives a fault written as DEVICES:NAME[@ENDPOINT][=NUMBER] to devices, which are named by
/// position: one number, a range a-b, or * for all.
/// @throws std::invalid_argument with a text for the user
void AssignDeviceFault(const std::string& text, std::vector<DeviceConfig>& devices);

/// "alaw", "mulaw", "aac". @throws std::invalid_argument
AudioCodec AudioNamed(const std::string& name);

/// @throws std::invalid_argument when the values do not go together
void CheckConfig(const DeviceConfig& config);

}  // namespace vms::sim::httpdevice
