#pragma once

#include <string>

#include "sim/net/HttpAnswer.h"
#include "sim/net/HttpMessage.h"
#include "sim/onvif/Camera.h"

namespace vms::sim {

/// Turns an answer into bytes in the camera's manner, broken as its faults demand.
WireAnswer ToWire(const Camera& camera, const std::string& operation, const HttpAnswer& answer,
                  bool keepAlive);

}  // namespace vms::sim
