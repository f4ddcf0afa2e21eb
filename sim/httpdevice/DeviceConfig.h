#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/httpdevice/api/LoginProof.h"
#include "sim/httpdevice/faults/DeviceFault.h"
#include "sim/httpdevice/media/AudioTracks.h"

namespace vms::sim::httpdevice {

/// What one device is when it starts.
struct DeviceConfig {
    size_t index = 0;
    bool recorder = false;
    bool version6 = true;  ///< capabilities and permissions of the newer platform
    LoginFamily login = LoginFamily::kSha256;
    int channels = 1;
    std::string name = "Device";
    std::string user = "admin";
    std::string password = "admin";
    std::string bind = "127.0.0.1";
    uint16_t port = 0;  ///< 0 = any free one
    bool https = false;
    uint16_t httpsPort = 0;
    int iterations = 100;
    bool enableIteration = true;
    int sessionSeconds = 60;
    AudioCodec audio = AudioCodec::kALaw;
    bool mute = false;          ///< streams without sound
    bool h265 = false;          ///< main stream
    int poePorts = -1;          ///< -1 = it has none
    int recordedDays = 3;       ///< 0 = nothing is recorded
    int pieceSeconds = 3600;    ///< divides a day
    int64_t recordedUntil = 0;  ///< seconds since the epoch, 0 = the start of the process
    int faceIntervalMs = 1000;
    std::vector<DeviceFaultRule> faults;
};

}  // namespace vms::sim::httpdevice
