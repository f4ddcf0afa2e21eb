#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/discovery/DiscoveryOptions.h"
#include "sim/onvif/CameraConfig.h"

namespace vms::sim {

struct RtspOptions {
    bool enabled = true;
    std::string bind = "0.0.0.0";
    uint16_t port = 8554;    ///< 0 = any free one
    bool basic = false;      ///< Basic login is accepted besides Digest
    std::string mediaCache;  ///< folder for the encoded clips; "" = encode at every start
};

struct SimulatorOptions {
    std::vector<CameraConfig> cameras;
    unsigned threads = 2;
    std::string statsFile;  ///< written at the end; "" = none
    RtspOptions rtsp;
    DiscoveryOptions discovery;
};

}  // namespace vms::sim
