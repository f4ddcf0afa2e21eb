#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "platform/Mutex.h"

namespace vms::host {

/// A line "text ... 3 s" on standard error while it lives, when that is a terminal and the work
/// takes longer than a moment. Thread-safe.
class Progress {
public:
    /// @param wanted false: show nothing, since other lines go to standard error
    Progress(std::string text, bool wanted);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Runs something that prints, with the line out of its way.
    void Print(const std::function<void()>& print) VMS_EXCLUDES(mutex_);

private:
    using Clock = std::chrono::steady_clock;

    void Run() VMS_EXCLUDES(mutex_);
    void Draw() VMS_REQUIRES(mutex_);
    void Erase() VMS_REQUIRES(mutex_);

    const std::string text_;
    const Clock::time_point start_ = Clock::now();
    Mutex mutex_;
    CondVar stopped_;
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    bool drawn_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_;  ///< last: uses all of the above; none when nothing is shown
};

}  // namespace vms::host
