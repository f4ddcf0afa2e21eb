#pragma once

#include <memory>
#include <thread>
#include <vector>

#include "platform/websocket/HostResolver.h"

namespace boost::asio {
class io_context;
}

namespace vms {

/// The few threads that serve all WebSocket clients of the process. Made on first need; ended when
/// the library is unloaded or the process exits, together with what connections are left.
/// Thread-safe.
class IoThreads {
public:
    /// @return null when no thread can be had, and once the end has come
    static IoThreads* Get();

    /// @throws std::system_error when no thread can be had
    IoThreads();

    /// Waits for reports under way. Connections go without another report.
    ~IoThreads();
    IoThreads(const IoThreads&) = delete;
    IoThreads& operator=(const IoThreads&) = delete;

    boost::asio::io_context& Context() { return *context_; }
    HostResolver& Resolver() { return resolver_; }

private:
    void Run();
    /// @return whether the caller is one of the threads and so cannot be waited for
    bool JoinAll();

    std::unique_ptr<boost::asio::io_context> context_;
    HostResolver resolver_;
    std::vector<std::thread> threads_;
};

}  // namespace vms
