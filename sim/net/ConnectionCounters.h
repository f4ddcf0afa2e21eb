#pragma once

#include <atomic>
#include <cstdint>

namespace vms::sim {

/// Connections of one listener.
struct ConnectionCounters {
    std::atomic<uint64_t> accepted{0};
    std::atomic<int64_t> open{0};
};

}  // namespace vms::sim
