#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace vms::sim {

struct DiscoveryOptions {
    bool enabled = true;
    std::vector<std::string> interfaces;      ///< local addresses; empty = every usable interface
    std::chrono::milliseconds maxDelay{500};  ///< answers are spread over this time
    size_t burst = 0;                         ///< invented cameras that answer every probe at once
    std::string logFile;                      ///< "" = no log
};

}  // namespace vms::sim
