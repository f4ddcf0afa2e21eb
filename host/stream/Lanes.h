#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "platform/Mutex.h"

namespace vms::host {

/// Threads on which modules hear of players, and may take their time. One is there from the start,
/// more are started while all are busy, up to a bound. Thread-safe.
class Lanes {
public:
    using Task = std::function<void()>;

    /// @throws std::system_error when not even one thread can be had
    explicit Lanes(size_t mostThreads);

    /// Runs what waits, then ends the threads.
    ~Lanes();
    Lanes(const Lanes&) = delete;
    Lanes& operator=(const Lanes&) = delete;

    /// Runs what waits, then ends the threads; what is posted later is not run. Not from a task.
    void Stop() VMS_EXCLUDES(mutex_);

private:
    friend class Lane;

    void Submit(Task task) VMS_EXCLUDES(mutex_);
    void Run() VMS_EXCLUDES(mutex_);
    void RunRest() VMS_EXCLUDES(mutex_);
    bool StartThread() VMS_REQUIRES(mutex_);

    const size_t mostThreads_;
    Mutex mutex_;
    CondVar wake_;
    std::deque<Task> tasks_ VMS_GUARDED_BY(mutex_);
    size_t idle_ VMS_GUARDED_BY(mutex_) = 0;
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;  ///< the threads end
    bool stopped_ VMS_GUARDED_BY(mutex_) = false;   ///< nothing is run any more
    std::vector<std::thread> threads_ VMS_GUARDED_BY(mutex_);
};

/// Tasks that run one after the other, in the order in which they are posted. Shared: what waits
/// keeps it alive. Thread-safe.
class Lane : public std::enable_shared_from_this<Lane> {
public:
    /// @param lanes must outlive the lane
    explicit Lane(Lanes& lanes) : lanes_(lanes) {}

    void Post(Lanes::Task task) VMS_EXCLUDES(mutex_);

private:
    void RunNext() VMS_EXCLUDES(mutex_);

    Lanes& lanes_;
    Mutex mutex_;
    std::deque<Lanes::Task> tasks_ VMS_GUARDED_BY(mutex_);  ///< the front one runs or is submitted
};

}  // namespace vms::host
