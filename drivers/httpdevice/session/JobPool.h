#pragma once

#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "platform/Mutex.h"

namespace vms::httpdevice {

/// A few threads for what takes too long for the reactor: new connections of streams, hashing for
/// logins. A job must not wait for a device: silent devices would soon hold every thread.
/// Thread-safe.
class JobPool {
public:
    using Job = std::function<void()>;

    /// @throws std::system_error when not even one thread can be had
    explicit JobPool(size_t threads);
    /// Stops.
    ~JobPool();
    JobPool(const JobPool&) = delete;
    JobPool& operator=(const JobPool&) = delete;

    /// Runs a job soon; exceptions that leave it are logged. After Stop jobs are dropped.
    void Run(Job job) VMS_EXCLUDES(mutex_);

    /// Drops what waits and joins: lasts as long as the longest running job. Not from a job.
    void Stop() VMS_EXCLUDES(mutex_);

private:
    void Work() VMS_EXCLUDES(mutex_);

    Mutex mutex_;
    CondVar changed_;
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    std::deque<Job> jobs_ VMS_GUARDED_BY(mutex_);
    std::vector<std::thread> threads_;  ///< constant between construction and Stop
};

}  // namespace vms::httpdevice
