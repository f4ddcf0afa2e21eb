#pragma once

#include <cstddef>

namespace vms::sim {

/// Raises the soft limit on open descriptors to at least `wanted`, as far as the hard limit goes.
/// @return the limit now in force
size_t RaiseFileLimit(size_t wanted);

}  // namespace vms::sim
