#pragma once

#include <chrono>
#include <functional>
#include <thread>

#include "platform/Mutex.h"

namespace vms::host {

/// Ends the process when a shutdown takes too long: a device that does not answer must not keep the
/// host from ending. Destroyed in time it does nothing.
class ShutdownLimit {
public:
    /// @param onExpiry runs on a thread of this object, and should not return
    ShutdownLimit(std::chrono::steady_clock::duration bound, std::function<void()> onExpiry);
    ~ShutdownLimit();
    ShutdownLimit(const ShutdownLimit&) = delete;
    ShutdownLimit& operator=(const ShutdownLimit&) = delete;

private:
    void Run() VMS_EXCLUDES(mutex_);

    const std::chrono::steady_clock::time_point deadline_;
    const std::function<void()> onExpiry_;
    Mutex mutex_;
    CondVar ended_;
    bool inTime_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_;  ///< last: uses all of the above
};

}  // namespace vms::host
