#include "host/players/whep/plugin/Worker.h"

#include <exception>
#include <utility>

namespace vms::whep {
namespace {

void RunGuarded(const Worker::Task& task) noexcept {
    try {
        task();
    } catch (const std::exception&) {  // no memory: whoever waits for it runs out of time
    }
}

}  // namespace

Worker::Worker(Task tick) : tick_(std::move(tick)), thread_([this] { Run(); }) {}

Worker::~Worker() {
    {
        MutexLock lock(mutex_);
        stopping_ = true;
        wake_.NotifyAll();
    }
    thread_.join();
}

void Worker::Post(Task task) {
    MutexLock lock(mutex_);
    tasks_.push_back(std::move(task));
    wake_.NotifyAll();
}

void Worker::Run() {
    auto next = std::chrono::steady_clock::now() + kPeriod;
    MutexLock lock(mutex_);
    while (!stopping_ || !tasks_.empty()) {
        if (!tasks_.empty()) {
            Task task = std::move(tasks_.front());
            tasks_.pop_front();
            lock.Unlock();
            RunGuarded(task);
            task = nullptr;
            lock.Lock();
        } else if (!stopping_) {
            wake_.WaitUntil(mutex_, next);
        }
        if (std::chrono::steady_clock::now() >= next) {
            next = std::chrono::steady_clock::now() + kPeriod;
            lock.Unlock();
            RunGuarded(tick_);
            lock.Lock();
        }
    }
}

}  // namespace vms::whep
