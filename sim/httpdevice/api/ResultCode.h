#pragma once

namespace vms::sim::httpdevice {

/// The "code" of an answer.
enum class ResultCode {
    kDone = 0,
    kNoSession = 1001,
    kSessionExpired = 1002,
    kLoginRefused = 1003,
    kNoChallenge = 1004,
    kWrongKey = 1005,
    kKeyOwed = 1006,
    kBadBody = 2001,
    kUnknownAction = 2002,
    kBadValue = 2003,
    kNotSupported = 2004,
};

}  // namespace vms::sim::httpdevice
