#pragma once

#include <cstdint>
#include <string>

namespace vms::host {

/// What a player asks of the modules.
struct PlayerRequest {
    int32_t command = 0;  ///< 0x100200 to 0x10020b
    std::string key;      ///< of a stream or of a synchronous session
    std::string body;     ///< parameters, may be empty
};

}  // namespace vms::host
