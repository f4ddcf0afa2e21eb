#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "sim/onvif/Camera.h"
#include "sim/onvif/SimulatorOptions.h"

namespace vms::sim {

/// Serves the streams of all cameras on one port, on threads of its own.
class RtspServer {
public:
    /// Serves from now on. `cameras` must outlive the server.
    /// @throws std::runtime_error when the media cannot be made or the port cannot be bound
    RtspServer(const RtspOptions& options, const std::vector<std::unique_ptr<Camera>>& cameras);
    ~RtspServer();
    RtspServer(const RtspServer&) = delete;
    RtspServer& operator=(const RtspServer&) = delete;

    uint16_t port() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace vms::sim
