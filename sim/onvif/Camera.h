#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "sim/onvif/CameraConfig.h"
#include "sim/onvif/CameraStats.h"
#include "sim/onvif/StreamProfile.h"
#include "sim/soap/TokenVerifier.h"

namespace vms::sim {

/// One simulated camera: its settings, its login and its counters. Everything but the counters and
/// the login memory is constant once the listeners are open.
class Camera {
public:
    explicit Camera(CameraConfig config);

    const CameraConfig& config() const { return config_; }
    const FaultSet& faults() const { return config_.faults; }
    const Personality& personality() const { return *config_.personality; }
    CameraStats& stats() { return stats_; }
    const CameraStats& stats() const { return stats_; }
    TokenVerifier& verifier() { return verifier_; }

    /// The password that the camera really has.
    const std::string& realPassword() const { return realPassword_; }
    bool NeedsLogin() const { return !config_.user.empty(); }
    std::time_t Clock() const;

    /// How the camera writes XML.
    const XmlStyle& style() const { return style_; }
    std::string MediaPath() const;

    int ProfileCount() const { return config_.profiles; }
    StreamProfile Profile(int position) const;
    std::string ProfileToken(int position) const;
    /// @return -1 when no profile has that token
    int FindProfile(const std::string& token) const;

    uint16_t port() const { return port_; }
    void SetPort(uint16_t port) { port_ = port; }
    uint16_t rtspPort() const { return rtspPort_; }
    void SetRtspPort(uint16_t port) { rtspPort_ = port; }

    /// Service address as a client that reaches the camera at `host` sees it.
    std::string ServiceUrl(const std::string& host, const std::string& path) const;
    std::string StreamUrl(const std::string& host, int profile) const;

private:
    CameraConfig config_;
    std::string realPassword_;
    XmlStyle style_;
    uint16_t port_ = 0;
    uint16_t rtspPort_ = 0;
    TokenVerifier verifier_;
    CameraStats stats_;
};

inline constexpr const char* kDevicePath = "/onvif/device_service";
inline constexpr const char* kMediaPath = "/onvif/media_service";

}  // namespace vms::sim
