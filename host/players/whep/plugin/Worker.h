#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <thread>

#include "platform/Mutex.h"

namespace vms::whep {

/// A thread that runs what it is given, in order, and looks after things every second. What
/// throws costs its task. Thread-safe.
class Worker {
public:
    using Task = std::function<void()>;

    static constexpr std::chrono::seconds kPeriod{1};

    /// @param tick called every second @throws std::system_error
    explicit Worker(Task tick);

    /// Runs what waits.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void Post(Task task) VMS_EXCLUDES(mutex_);

private:
    void Run() VMS_EXCLUDES(mutex_);

    const Task tick_;
    Mutex mutex_;
    CondVar wake_;
    std::deque<Task> tasks_ VMS_GUARDED_BY(mutex_);
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_;
};

}  // namespace vms::whep
