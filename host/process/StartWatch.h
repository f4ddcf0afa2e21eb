#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "host/process/EventCount.h"
#include "host/process/HostSignals.h"

namespace vms::host {

/// Listens for signals while modules start, which a silent device can draw out for a minute.
class StartWatch {
public:
    /// @param signals must outlive this object, and nobody else may wait for them meanwhile
    /// @param onStop  runs on a thread of this object at a signal to stop, and must end the process
    /// @throws HostError
    StartWatch(HostSignals& signals, std::function<void()> onStop);
    ~StartWatch();
    StartWatch(const StartWatch&) = delete;
    StartWatch& operator=(const StartWatch&) = delete;

    /// Whether a signal to reload has come so far.
    bool ReloadWanted() const { return reload_; }

private:
    void Run();

    HostSignals& signals_;
    const std::function<void()> onStop_;
    EventCount started_{"watch the start"};  ///< raised at the end of this object
    std::atomic<bool> reload_{false};
    std::thread thread_;  ///< last: uses all of the above
};

}  // namespace vms::host
