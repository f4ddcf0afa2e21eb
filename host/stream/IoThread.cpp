#include "host/stream/IoThread.h"

#include <boost/asio/post.hpp>

#include <utility>

namespace vms {

IoThread::IoThread() : work_(context_.get_executor()), thread_([this] { context_.run(); }) {}

IoThread::~IoThread() {
    Stop();
}

void IoThread::Stop() {
    context_.stop();
    if (thread_.joinable())
        thread_.join();
}

void IoThread::Wake(std::shared_ptr<Wakeable> sleeper) {
    MutexLock lock(mutex_);
    const bool first = sleepers_.empty();
    sleepers_.push_back(std::move(sleeper));
    lock.Unlock();
    if (first)
        boost::asio::post(context_, [this] { WakeAll(); });
}

void IoThread::WakeAll() {
    {
        MutexLock lock(mutex_);
        waking_.swap(sleepers_);
    }
    for (const auto& sleeper : waking_)
        sleeper->OnWake();
    waking_.clear();
}

}  // namespace vms
