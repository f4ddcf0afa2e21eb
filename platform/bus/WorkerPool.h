#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "platform/Mutex.h"

namespace vms {

/// Threads that run tasks which may block for seconds. A few stay for good; more are started while
/// a task waits and no worker gets round to it, and end again when they have been idle for a while.
/// Thread-safe. A thread that cannot be started is tried again later; its task waits meanwhile.
class WorkerPool {
public:
    using Task = std::function<void()>;

    struct Options {
        size_t baseWorkers = 4;   ///< started on demand, kept until the end
        size_t maxWorkers = 320;  ///< more than a host lets strangers' requests wait
        std::chrono::milliseconds idleTime{10'000};  ///< after which a surplus worker ends
        std::chrono::milliseconds growAfter{1};  ///< without a task taken, before workers are added
    };

    explicit WorkerPool(const Options& options);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Queues a task; it must not throw. After Stop it is dropped.
    void Submit(Task task) VMS_EXCLUDES(mutex_);

    /// Same, for a task that runs on this pool and is about to end: its worker looks at the queue
    /// next, so nobody needs to be woken.
    void SubmitBeforeReturning(Task task) VMS_EXCLUDES(mutex_);

    /// Drops the tasks not yet started, waits for the running ones and ends the threads. Not from a
    /// task.
    void Stop() VMS_EXCLUDES(mutex_);

    size_t Workers() VMS_EXCLUDES(mutex_);

private:
    /// Place of one worker. Slots live as long as the pool, so they can be notified without the
    /// lock.
    struct Slot {
        std::thread thread;
        CondVar wake;
        Task task;  ///< handed over while the worker was idle
        bool occupied = false;
    };

    bool StartWorker() VMS_REQUIRES(mutex_);
    void WatchBacklog() VMS_REQUIRES(mutex_);
    bool IsBacklogged() const VMS_REQUIRES(mutex_);
    bool Grow() VMS_REQUIRES(mutex_);

    void WorkerLoop(Slot& slot) VMS_EXCLUDES(mutex_);
    bool NextTask(Slot& slot, Task& task) VMS_EXCLUDES(mutex_);
    bool WaitForHandOver(Slot& slot) VMS_REQUIRES(mutex_);
    void WatcherLoop() VMS_EXCLUDES(mutex_);

    const Options options_;

    Mutex mutex_;
    std::vector<Slot> slots_ VMS_GUARDED_BY(mutex_);
    /// Waiting workers, the one that waits longest first; the latest is woken first, so that
    /// surplus ones stay idle long enough to end.
    std::vector<Slot*> idle_ VMS_GUARDED_BY(mutex_);
    std::deque<Task> queue_ VMS_GUARDED_BY(mutex_);
    size_t workers_ VMS_GUARDED_BY(mutex_) = 0;
    uint64_t taken_ VMS_GUARDED_BY(mutex_) = 0;  ///< tasks taken from the queue so far
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;

    std::thread watcher_ VMS_GUARDED_BY(mutex_);  ///< started when there is a backlog to watch
    CondVar watcherWake_;
    bool watching_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms
