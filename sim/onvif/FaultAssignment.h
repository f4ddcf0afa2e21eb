#pragma once

#include <string>
#include <vector>

#include "sim/onvif/CameraConfig.h"

namespace vms::sim {

/// Gives a fault written as CAMERAS:NAME[@OPERATION][=VALUE] to cameras, which are named by
/// position: one number, a range a-b, or * for all.
/// @throws std::invalid_argument with a text for the user
void AssignFault(const std::string& text, std::vector<CameraConfig>& cameras);

}  // namespace vms::sim
