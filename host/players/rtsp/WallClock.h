#pragma once

#include <chrono>
#include <cstdint>

namespace vms::host {

/// Now, us since the epoch.
inline int64_t UnixUs() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace vms::host
