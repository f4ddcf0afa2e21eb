#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "platform/ThreadAnnotations.h"

namespace vms {

class CondVar;

/// std::mutex with clang's lock annotations, which libstdc++ lacks. Not recursive.
class VMS_CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock() VMS_ACQUIRE() { mutex_.lock(); }
    void Unlock() VMS_RELEASE() { mutex_.unlock(); }
    bool TryLock() VMS_TRY_ACQUIRE(true) { return mutex_.try_lock(); }

private:
    friend class CondVar;
    std::mutex mutex_;
};

/// Holds a Mutex for a scope; may be released early and taken again.
class VMS_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) VMS_ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
    ~MutexLock() VMS_RELEASE() {
        if (held_)
            mutex_.Unlock();
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void Unlock() VMS_RELEASE() {
        mutex_.Unlock();
        held_ = false;
    }
    void Lock() VMS_ACQUIRE() {
        mutex_.Lock();
        held_ = true;
    }

private:
    Mutex& mutex_;
    bool held_ = true;
};

/// Condition variable for Mutex. The caller holds the mutex; waits may wake spuriously, so callers
/// loop over their condition (the analysis does not look into predicates passed as lambdas).
class CondVar {
public:
    void Wait(Mutex& mutex) VMS_REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        condition_.wait(lock);
        lock.release();
    }

    /// @return false when the deadline has passed
    template <class Clock, class Duration>
    bool WaitUntil(Mutex& mutex, const std::chrono::time_point<Clock, Duration>& deadline)
        VMS_REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        const bool inTime = condition_.wait_until(lock, deadline) == std::cv_status::no_timeout;
        lock.release();
        return inTime;
    }

    void NotifyOne() { condition_.notify_one(); }
    void NotifyAll() { condition_.notify_all(); }

private:
    std::condition_variable condition_;
};

}  // namespace vms
