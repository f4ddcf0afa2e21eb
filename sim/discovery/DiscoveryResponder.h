#pragma once

#include <memory>
#include <vector>

#include "sim/discovery/DiscoveryOptions.h"
#include "sim/onvif/Camera.h"

namespace vms::sim {

/// Answers WS-Discovery probes for all cameras of the process on a thread of its own.
class DiscoveryResponder {
public:
    using Cameras = std::vector<std::unique_ptr<Camera>>;

    /// Answers from now on. `cameras` must outlive the responder.
    /// @throws std::runtime_error when the port, an interface or the log cannot be opened
    DiscoveryResponder(const DiscoveryOptions& options, const Cameras& cameras);
    ~DiscoveryResponder();
    DiscoveryResponder(const DiscoveryResponder&) = delete;
    DiscoveryResponder& operator=(const DiscoveryResponder&) = delete;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace vms::sim
