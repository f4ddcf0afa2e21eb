#pragma once

#include <cstdint>

namespace vms::bench {

/// Heap allocations through operator new so far, which this file's source replaces for the program.
int64_t AllocationsOfThread();
int64_t AllocationsOfProcess();

}  // namespace vms::bench
