#pragma once

#include <string>

#include "sim/httpdevice/api/ApiCall.h"
#include "sim/net/HttpAnswer.h"
#include "sim/net/HttpMessage.h"

namespace vms::sim::httpdevice {

/// What follows the last "/": faults name endpoints by it.
std::string LastPart(const std::string& path);

WireAnswer WriteWire(const HttpAnswer& answer, bool keepAlive);

/// The answer as the device's faults let it out.
WireAnswer ApplyFaults(const FaultBoard& faults, const std::string& endpoint,
                       const ApiAnswer& answer, bool keepAlive);

}  // namespace vms::sim::httpdevice
