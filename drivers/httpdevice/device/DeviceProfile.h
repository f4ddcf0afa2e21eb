#pragma once

#include <memory>
#include <string>

#include "drivers/httpdevice/session/DeviceConnection.h"
#include "module/DeviceInfoRecords.h"
#include "module/PtzRecords.h"

namespace vms::httpdevice {

/// What kind of device it is and what it can do.
struct DeviceProfile {
    std::string type;       ///< as the device calls it: "IPC", "NVR"
    bool recorder = false;  ///< otherwise a camera
    bool version6 = false;  ///< the newer platform
    bool rightsV2 = false;  ///< layout of the permissions
    int channels = 1;
    bool channelsTold = false;  ///< by the device; otherwise their number is a guess
    bool seek = false;          ///< recordings can be sought in
    int talkEncode = 0;         ///< audio codec code of media units; 0 = the device did not say
    __tagTvDeviceCapability capability;
    __tagTvPtzCapability ptz;

    bool HasChannel(int channel) const { return channel >= 0 && channel < channels; }
};

/// Asks the device; blocks as DeviceConnection::Call does.
/// @return null when it does not say
std::shared_ptr<const DeviceProfile> AskProfile(DeviceConnection& device);

}  // namespace vms::httpdevice
