#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sim/onvif/Camera.h"

namespace vms::sim {

/// The scope texts of a camera, percent-encoded.
std::vector<std::string> ScopesOf(const Camera& camera);

std::string PercentEncode(std::string_view text);

}  // namespace vms::sim
