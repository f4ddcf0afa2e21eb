#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

#include "platform/HostResolver.h"

namespace boost::asio {
class io_context;
}

namespace vms {

/// The few threads that serve all WebSocket clients of the process, each with a loop of its own: a
/// message is read and handled without another thread being woken. Made on first need; ended when
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

    /// The loop for one more connection: they take turns.
    boost::asio::io_context& Next();
    HostResolver& Resolver() { return resolver_; }

private:
    struct Loop {
        std::unique_ptr<boost::asio::io_context> context;
        std::thread thread;
    };

    static void Run(boost::asio::io_context& context);
    static void End(Loop& loop);

    std::vector<Loop> loops_;  ///< constant once made
    std::atomic<size_t> turn_{0};
    HostResolver resolver_;  ///< goes first: connections that wait for a name belong to the loops
};

}  // namespace vms
