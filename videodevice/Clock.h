#pragma once

#include <cstdint>
#include <functional>

namespace vms {

/// Whole seconds since the Unix epoch. Thread-safe, must not block: asked for every media unit.
using Clock = std::function<int64_t()>;

}  // namespace vms
