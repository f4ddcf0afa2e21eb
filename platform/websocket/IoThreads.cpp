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

/// More than one, so that a slow handler leaves the other clients served.
std::size_t ThreadCount() {
    return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 2, 4);
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

IoThreads::IoThreads()
    : context_(std::make_unique<boost::asio::io_context>(static_cast<int>(ThreadCount()))) {
    const BlockedSignals blocked;
    threads_.reserve(ThreadCount());
    try {
        while (threads_.size() < ThreadCount())
            threads_.emplace_back([this] { Run(); });
    } catch (const std::system_error&) {
        if (threads_.empty())
            throw;
    }
}

IoThreads::~IoThreads() {
    context_->stop();
    if (JoinAll())
        static_cast<void>(context_.release());  // still in use below us on this very stack
}

bool IoThreads::JoinAll() {
    bool isOneOfThem = false;
    for (std::thread& thread : threads_) {
        if (thread.get_id() == std::this_thread::get_id()) {
            isOneOfThem = true;
            thread.detach();
        } else {
            thread.join();
        }
    }
    return isOneOfThem;
}

void IoThreads::Run() {
    const auto work = boost::asio::make_work_guard(*context_);
    while (!context_->stopped()) {
        try {
            context_->run();
        } catch (const std::exception& error) {
            ClientLog::IoThreadCaught(error.what());
        } catch (...) {
            ClientLog::IoThreadCaught("not an exception");
        }
    }
}

}  // namespace vms
