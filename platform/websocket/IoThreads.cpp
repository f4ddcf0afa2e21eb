#include "platform/websocket/IoThreads.h"

#include <openssl/ssl.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/impl/src.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/impl/src.hpp>
#include <system_error>

#include "platform/Mutex.h"
#include "platform/websocket/ClientLog.h"
#include "platform/websocket/ThreadSignals.h"

namespace vms {
namespace {

/// More than one, so that a slow handler leaves most other clients served.
size_t ThreadCount() {
    return std::clamp<size_t>(std::thread::hardware_concurrency(), 2, 4);
}

constinit std::atomic<bool> over{false};

/// Ends the threads with the library.
struct Owner {
    // Set up first, OpenSSL is torn down last: after the threads have given back what they hold.
    Owner() { OPENSSL_init_ssl(0, nullptr); }
    ~Owner() {
        over = true;
        threads.reset();
    }

    Mutex mutex;
    std::unique_ptr<IoThreads> threads VMS_GUARDED_BY(mutex);
};

}  // namespace

IoThreads* IoThreads::Get() {
    if (over)
        return nullptr;
    static Owner owner;
    MutexLock lock(owner.mutex);
    try {
        if (owner.threads == nullptr)
            owner.threads = std::make_unique<IoThreads>();
    } catch (const std::exception&) {
        return nullptr;
    }
    return owner.threads.get();
}

IoThreads::IoThreads() {
    constexpr int kOneThread = 1;
    const BlockedSignals blocked;
    loops_.reserve(ThreadCount());
    try {
        while (loops_.size() < ThreadCount()) {
            auto context = std::make_unique<boost::asio::io_context>(kOneThread);
            std::thread thread([&loop = *context] { Run(loop); });
            loops_.push_back({std::move(context), std::move(thread)});
        }
    } catch (const std::system_error&) {
        if (loops_.empty())
            throw;
    }
}

IoThreads::~IoThreads() {
    for (Loop& loop : loops_)
        loop.context->stop();
    for (Loop& loop : loops_)
        End(loop);
}

boost::asio::io_context& IoThreads::Next() {
    return *loops_[turn_++ % loops_.size()].context;
}

void IoThreads::End(Loop& loop) {
    if (loop.thread.get_id() != std::this_thread::get_id())
        return loop.thread.join();
    // Still in use below us on this very stack.
    loop.thread.detach();
    static_cast<void>(loop.context.release());
}

void IoThreads::Run(boost::asio::io_context& context) {
    const auto work = boost::asio::make_work_guard(context);
    while (!context.stopped()) {
        try {
            context.run();
        } catch (const std::exception& error) {
            ClientLog::IoThreadCaught(error.what());
        } catch (...) {
            ClientLog::IoThreadCaught("not an exception");
        }
    }
}

}  // namespace vms
