#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <thread>

#include "platform/Mutex.h"

namespace vms {

/// Threads that nobody waits for until the owner goes. Thread-safe.
class WorkerGroup {
public:
    WorkerGroup() = default;
    /// Waits for every worker.
    ~WorkerGroup() { Join(); }
    WorkerGroup(const WorkerGroup&) = delete;
    WorkerGroup& operator=(const WorkerGroup&) = delete;

    /// Runs `work` on a thread of its own; what it throws is logged.
    /// @return false when no thread could be started; `work` does not run then
    bool Start(std::function<void()> work) VMS_EXCLUDES(mutex_);

    /// Frees the threads of finished workers.
    void Reap() VMS_EXCLUDES(mutex_);

    /// Waits for all workers, also those that start meanwhile.
    void Join() VMS_EXCLUDES(mutex_);

private:
    struct Worker {
        std::thread thread;
        std::atomic<bool> done{false};
    };
    using Workers = std::list<Worker>;

    Mutex mutex_;
    Workers workers_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms
