#pragma once

#include <memory>
#include <ostream>
#include <vector>

#include "sim/discovery/DiscoveryResponder.h"
#include "sim/net/HttpServer.h"
#include "sim/onvif/Camera.h"
#include "sim/onvif/CameraService.h"
#include "sim/onvif/SimulatorOptions.h"
#include "sim/rtsp/RtspServer.h"

namespace vms::sim {

/// All simulated cameras of the process with their servers; they stop on destruction.
class Simulator {
public:
    /// @throws std::runtime_error when a port, the discovery group or the media is not to be had
    explicit Simulator(const SimulatorOptions& options);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    /// One JSON line for each camera and a last one that says that everything listens.
    void Announce(std::ostream& out) const;
    /// @throws std::runtime_error when the file cannot be written
    void WriteStats(const std::string& path) const;

private:
    void OpenPort(Camera& camera, CameraService& service);
    Json::Value Describe(const Camera& camera) const;

    std::vector<std::unique_ptr<Camera>> cameras_;
    std::vector<std::unique_ptr<CameraService>> services_;
    std::unique_ptr<RtspServer> rtsp_;
    uint16_t rtspPort_;
    HttpServer http_;
    std::unique_ptr<DiscoveryResponder> discovery_;
};

}  // namespace vms::sim
