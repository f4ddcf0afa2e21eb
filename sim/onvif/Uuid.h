#pragma once

#include <string>
#include <string_view>

namespace vms::sim {

std::string RandomUuid();

/// The same text always gives the same identifier, so that a camera keeps its own over restarts.
std::string NamedUuid(std::string_view name);

}  // namespace vms::sim
