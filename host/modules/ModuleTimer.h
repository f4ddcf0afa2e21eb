#pragma once

#include <chrono>
#include <thread>

#include "host/modules/ModuleSet.h"
#include "platform/Mutex.h"

namespace vms::host {

/// The thread that gives the modules their periodic turn while this object lives.
class ModuleTimer {
public:
    /// @param modules all started; must outlive this object and not change meanwhile
    explicit ModuleTimer(ModuleSet& modules,
                         std::chrono::milliseconds period = std::chrono::seconds(1));

    /// Waits for a turn that is under way.
    ~ModuleTimer();
    ModuleTimer(const ModuleTimer&) = delete;
    ModuleTimer& operator=(const ModuleTimer&) = delete;

private:
    void Run();
    bool WaitForTurn(std::chrono::steady_clock::time_point turn) VMS_EXCLUDES(mutex_);

    ModuleSet& modules_;
    const std::chrono::milliseconds period_;
    Mutex mutex_;
    CondVar stopped_;
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_;  ///< last: uses all of the above
};

}  // namespace vms::host
