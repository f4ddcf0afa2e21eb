#pragma once

#include <chrono>

#include "platform/Mutex.h"

namespace vms::test {

/// Holds threads back until it is opened, for good. Stands before whatever waits for those threads
/// when it goes.
class Gate {
public:
    void Open() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        open_ = true;
        opened_.NotifyAll();
    }

    /// Gives up after a while, so that a failing test ends. @return false when it was not opened
    bool Wait() VMS_EXCLUDES(mutex_) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        MutexLock lock(mutex_);
        while (!open_) {
            if (!opened_.WaitUntil(mutex_, deadline))
                return open_;
        }
        return true;
    }

private:
    Mutex mutex_;
    CondVar opened_;
    bool open_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms::test
