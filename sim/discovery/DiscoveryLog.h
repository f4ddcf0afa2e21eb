#pragma once

#include <fstream>
#include <string>

#include "sim/discovery/MulticastSocket.h"
#include "sim/discovery/Probe.h"

namespace vms::sim {

/// One JSON line for each datagram that arrived, flushed at once. For one thread.
class DiscoveryLog {
public:
    /// @param path "" = write nothing
    /// @throws std::runtime_error when the file cannot be written
    explicit DiscoveryLog(const std::string& path);

    void Write(const Arrival& arrival, const Probe& probe, const std::string& datagram);

private:
    std::ofstream file_;
};

}  // namespace vms::sim
