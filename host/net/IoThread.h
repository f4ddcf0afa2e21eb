#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <thread>

namespace vms::host {

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

private:
    void Run() noexcept;

    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::thread thread_;  ///< last: uses all of the above
};

}  // namespace vms::host
