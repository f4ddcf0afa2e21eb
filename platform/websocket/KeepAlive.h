#pragma once

#include <chrono>

namespace vms {

/// Decides when a silent peer is pinged and when it is given up. Thread-bound; knows no timers.
class KeepAlive {
public:
    using Clock = std::chrono::steady_clock;

    enum class Action { kWait, kPing, kGiveUp };

    struct Step {
        Action action;
        Clock::duration nextLook;  ///< not after kGiveUp
    };

    KeepAlive(Clock::duration pingAfter, Clock::duration pongTimeout)
        : pingAfter_(pingAfter), pongTimeout_(pongTimeout) {}

    /// Something came from the peer.
    void Heard(Clock::time_point now) {
        lastHeard_ = now;
        pinged_ = false;
    }

    /// What to do now, and when to look again.
    Step Look(Clock::time_point now);

private:
    const Clock::duration pingAfter_;
    const Clock::duration pongTimeout_;
    Clock::time_point lastHeard_{};
    Clock::time_point pingTime_{};
    bool pinged_ = false;  ///< since something was heard
};

}  // namespace vms
