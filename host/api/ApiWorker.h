#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <thread>

#include "platform/Mutex.h"

namespace vms::host {

/// A thread that reads long answers of modules, so that nobody who waits for short ones waits for
/// them. Thread-safe.
class ApiWorker {
public:
    static constexpr size_t kMostWaiting = 512;

    ApiWorker();

    /// Drops what waits, and waits for what runs.
    ~ApiWorker();
    ApiWorker(const ApiWorker&) = delete;
    ApiWorker& operator=(const ApiWorker&) = delete;

    /// @param task must not throw @return false = too much waits
    [[nodiscard]] bool Post(std::function<void()> task) VMS_EXCLUDES(mutex_);

private:
    void Run() VMS_EXCLUDES(mutex_);

    Mutex mutex_;
    CondVar posted_;
    std::deque<std::function<void()>> tasks_ VMS_GUARDED_BY(mutex_);
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_;  ///< last: uses all of the above
};

}  // namespace vms::host
