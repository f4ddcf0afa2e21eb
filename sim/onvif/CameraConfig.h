#pragma once

#include <cstdint>
#include <string>

#include "sim/onvif/Fault.h"
#include "sim/onvif/Personality.h"

namespace vms::sim {

/// What one simulated camera is.
struct CameraConfig {
    size_t index = 0;
    std::string bind = "127.0.0.1";
    uint16_t port = 0;           ///< 0 = any free one
    std::string user = "admin";  ///< "" = no login is asked for
    std::string password = "admin";
    std::string name = "Front Door";
    std::string hardware;
    std::string location = "Building 1";
    std::string uuid;
    int profiles = 3;
    bool mainIsH265 = false;
    const Personality* personality = nullptr;  ///< never null once configured
    FaultSet faults;
};

}  // namespace vms::sim
