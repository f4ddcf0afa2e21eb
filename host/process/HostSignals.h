#pragma once

#include <csignal>

namespace vms::host {

/// Which signals a command handles itself.
enum class WatchedSignals {
    kNone,
    kStop,           ///< SIGINT and SIGTERM
    kStopAndReload,  ///< these and SIGHUP
};

/// Turns signals into a readable file descriptor while it lives, for commands that end in their own
/// way. Threads started before it exists would still be hit by them: create it first.
class HostSignals {
public:
    /// @throws HostError
    explicit HostSignals(WatchedSignals watched);
    ~HostSignals();
    HostSignals(const HostSignals&) = delete;
    HostSignals& operator=(const HostSignals&) = delete;

    /// Readable once a signal has come; -1 when none is watched.
    int Descriptor() const { return descriptor_; }

    /// Waits for the next signal, for ever when none is watched. @return SIGINT, SIGTERM or SIGHUP
    int Wait();

private:
    sigset_t before_{};
    int descriptor_ = -1;
};

}  // namespace vms::host
