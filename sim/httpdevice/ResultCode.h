#pragma once

namespace vms::sim::httpdevice {

/// The "code" of an answer.
enum class ResultCode {
    Done = 0,
    NoSession = 1001,
    SessionExpired = 1002,
    LoginRefused = 1003,
    NoChallenge = 1004,
    WrongKey = 1005,
    KeyOwed = 1006,
    BadBody = 2001,
    UnknownAction = 2002,
    BadValue = 2003,
    NotSupported = 2004,
};

}  // namespace vms::sim::httpdevice
