#pragma once

#include <csignal>

namespace vms {

/// Turns SIGINT and SIGTERM into a readable file descriptor while it lives, for commands that end
/// in their own way. Threads started before it exists would still be killed by them: create it
/// first.
class StopSignals {
public:
    /// @param watch false: leave the signals alone @throws HostError
    explicit StopSignals(bool watch);
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// Readable once a signal has come; -1 when they are left alone.
    int Descriptor() const { return descriptor_; }

private:
    sigset_t before_{};
    int descriptor_ = -1;
};

}  // namespace vms
