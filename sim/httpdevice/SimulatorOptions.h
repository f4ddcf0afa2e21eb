#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/httpdevice/DeviceConfig.h"

namespace vms::sim::httpdevice {

struct SimulatorOptions {
    std::vector<DeviceConfig> devices;
    unsigned threads = 2;
    uint16_t controlPort = 0;  ///< 0 = any free one
    std::string mediaCache;    ///< folder for the encoded clips; "" = encode at every start
    std::string statsFile;     ///< written at the end; "" = none
};

}  // namespace vms::sim::httpdevice
