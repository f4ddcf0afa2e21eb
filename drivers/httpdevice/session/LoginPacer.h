#pragma once

#include <chrono>

#include "drivers/httpdevice/session/Login.h"

namespace vms::httpdevice {

/// When the next login to a device may begin. Devices lock accounts, so a refused login is followed
/// by a pause of 5 s that doubles up to 60 s; one that the device left in the middle by a pause of
/// 1 s that does the same. A session may end for good reasons, and a new one is made at once; of
/// those that end within ten seconds each costs a pause as well, from the second on. Thread-bound;
/// the time is the caller's.
class LoginPacer {
public:
    using Clock = std::chrono::steady_clock;

    void OnLogin(LoginOutcome::Kind kind, Clock::time_point now);
    /// The device does not take the session (any more).
    void OnSessionLost(Clock::time_point now);

    /// Until then none. @return 0 when one may begin
    std::chrono::milliseconds Left(Clock::time_point now) const;
    /// Refused logins, one after the other.
    int Refused() const { return refused_; }

private:
    Clock::time_point next_{};
    Clock::time_point since_{};  ///< last login that succeeded
    int refused_ = 0;
    int silent_ = 0;  ///< fallen silent, one after the other
    int lost_ = 0;    ///< short sessions, one after the other
};

}  // namespace vms::httpdevice
