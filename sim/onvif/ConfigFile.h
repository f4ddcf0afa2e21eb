#pragma once

#include <string>

#include "sim/onvif/SimulatorOptions.h"

namespace vms::sim {

/// Adds the cameras of a JSON file to `options`. `base` gives what an entry leaves out.
/// @throws std::invalid_argument with a text for the user
void ReadConfigFile(const std::string& path, const CameraConfig& base, SimulatorOptions& options);

}  // namespace vms::sim
