#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/onvif/Camera.h"

namespace vms::sim {

/// What a ProbeMatches message says about its sequence.
struct MatchContext {
    std::string relatesTo;
    std::string messageId;
    std::string host;  ///< the address under which the camera tells clients to come
    uint64_t instance = 0;
    uint64_t number = 0;
};

/// The datagrams that a camera sends for one probe, faults included.
std::vector<std::string> WriteProbeMatches(const Camera& camera, const MatchContext& context);

}  // namespace vms::sim
