#pragma once

#include <functional>
#include <string>

#include "sim/onvif/Camera.h"
#include "sim/soap/SoapFault.h"
#include "sim/xml/XmlWriter.h"

namespace vms::sim {

/// A document with envelope, the personality's headers and a body that `writeBody` fills.
std::string WriteEnvelope(const Camera& camera, const std::string& operation,
                          const std::function<void(XmlWriter&)>& writeBody);

std::string WriteFaultEnvelope(const Camera& camera, const std::string& operation,
                               const SoapFault& fault);

}  // namespace vms::sim
