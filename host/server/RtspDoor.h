#pragma once

#include "host/auth/Doors.h"
#include "host/players/rtsp/RtspAccess.h"

namespace vms::host {

/// Players over RTSP come in by the same doors as everybody else. Thread-safe.
class RtspDoor final : public RtspAccess {
public:
    /// @param doors must outlive this object
    explicit RtspDoor(Doors& doors) : doors_(doors) {}

    void Check(const RtspCredentials& credentials, Done done) override;

private:
    Doors& doors_;
};

}  // namespace vms::host
