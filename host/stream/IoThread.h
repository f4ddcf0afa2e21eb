#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <memory>
#include <thread>
#include <vector>

#include "platform/Mutex.h"

namespace vms {

/// Something that has become able to write.
class Wakeable {
public:
    /// Called on the I/O thread it was put before.
    virtual void OnWake() = 0;

protected:
    ~Wakeable() = default;
};

/// One thread that runs an event loop of its own. What belongs to it is touched by no other thread
/// and so needs no lock.
class IoThread {
public:
    IoThread();

    /// Stops, and drops the handlers that still wait.
    ~IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;

    boost::asio::io_context& Context() { return context_; }

    /// Ends the thread; once it has returned no handler runs. Not to be called on the thread
    /// itself.
    void Stop();

    /// Has OnWake called on the loop's thread. A unit for hundreds of players wakes the loop once.
    void Wake(std::shared_ptr<Wakeable> sleeper) VMS_EXCLUDES(mutex_);

private:
    void WakeAll() VMS_EXCLUDES(mutex_);

    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    Mutex mutex_;
    std::vector<std::shared_ptr<Wakeable>> sleepers_ VMS_GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<Wakeable>> waking_;  ///< of the loop's thread; keeps its room
    std::thread thread_;                             ///< last: uses all of the above
};

}  // namespace vms
