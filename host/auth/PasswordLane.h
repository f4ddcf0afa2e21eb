#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include "platform/Mutex.h"

namespace vms::host {

/// One thread for what takes long and much memory: hashing passwords. Addresses take turns, so that
/// whoever asks once waits for at most one job of each other address. Thread-safe.
class PasswordLane {
public:
    using Job = std::function<void()>;

    static constexpr size_t kMostOfAddress = 4;
    static constexpr size_t kMost = 256;  ///< of all addresses

    /// @param pause  called on the lane's thread about every `every`, between jobs
    PasswordLane(Job pause, std::chrono::milliseconds every);

    /// Waits for the job that runs; those that wait are dropped.
    ~PasswordLane();
    PasswordLane(const PasswordLane&) = delete;
    PasswordLane& operator=(const PasswordLane&) = delete;

    /// @return false when too many jobs wait, of that address or in all; the job is not kept
    [[nodiscard]] bool Post(const std::string& address, Job job) VMS_EXCLUDES(mutex_);

private:
    void Run() VMS_EXCLUDES(mutex_);
    bool Take(Job& job) VMS_EXCLUDES(mutex_);

    const Job pause_;
    const std::chrono::milliseconds every_;
    Mutex mutex_;
    CondVar changed_;
    std::map<std::string, std::deque<Job>> jobs_ VMS_GUARDED_BY(mutex_);  ///< none is empty
    std::deque<std::string> turns_ VMS_GUARDED_BY(mutex_);  ///< addresses with jobs, in order
    size_t waiting_ VMS_GUARDED_BY(mutex_) = 0;
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    std::chrono::steady_clock::time_point paused_;  ///< of the thread
    std::thread thread_;                            ///< last: uses all of the above
};

}  // namespace vms::host
