#pragma once

#include <chrono>

namespace vms {

/// What one thread sleeps on: rung at once, or by itself some time later. Arming it for later wakes
/// nobody, which a condition variable with a deadline could not do: its sleeper would have to get
/// up to learn of the earlier time. Arming and disarming cost a microsecond each: the processor's
/// timer is set. Any thread may ring, arm and disarm; one waits.
class Doorbell {
public:
    /// @throws std::system_error when the process has no descriptors left
    Doorbell();
    ~Doorbell();
    Doorbell(const Doorbell&) = delete;
    Doorbell& operator=(const Doorbell&) = delete;

    void Ring() noexcept;

    /// Rings after `delay` (more than zero) unless disarmed first; arming again sets it anew.
    void RingAfter(std::chrono::nanoseconds delay) noexcept;
    void Disarm() noexcept;

    /// Returns once it has rung since the last return, or at the deadline; may return early.
    /// @return whether the delay it was armed for has passed: it is not armed any more
    bool WaitUntil(std::chrono::steady_clock::time_point deadline) noexcept;

private:
    int event_ = -1;
    int timer_ = -1;
};

}  // namespace vms
