#pragma once

#include <string_view>

#include "sim/onvif/Camera.h"
#include "sim/xml/XmlWriter.h"

namespace vms::sim {

/// Writes a complete profile with configurations and extensions that most clients do not know.
void WriteProfile(XmlWriter& out, const Camera& camera, const StreamProfile& profile,
                  std::string_view element);

}  // namespace vms::sim
