#pragma once

#include <string>
#include <string_view>

namespace vms::sim {

/// A WS-Discovery Probe as far as a camera cares.
struct Probe {
    bool valid = false;  ///< a Probe that cameras have to answer
    std::string reason;  ///< why not
    std::string messageId;
    std::string types;  ///< as written
};

/// Never throws; anything that is no Probe gives an invalid one.
Probe ParseProbe(std::string_view datagram);

}  // namespace vms::sim
