#pragma once

#include <optional>
#include <string>

#include "sim/net/HttpAnswer.h"
#include "sim/onvif/Camera.h"
#include "sim/xml/XmlWriter.h"

namespace vms::sim {

/// Answer that a fault puts in place of the real one, if the camera has such a fault.
std::optional<HttpAnswer> HostileAnswer(const Camera& camera, const std::string& operation);

/// A Security header block with `depth` assertions inside each other.
void WriteNestedAssertions(XmlWriter& out, long long depth);

}  // namespace vms::sim
