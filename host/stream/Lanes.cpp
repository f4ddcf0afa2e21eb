#include "host/stream/Lanes.h"

#include <exception>
#include <system_error>
#include <utility>

namespace vms::host {
namespace {

/// What ran out of memory costs its event, not the host. What the task holds goes with it.
void RunGuarded(Lanes::Task& task) noexcept {
    try {
        task();
    } catch (const std::exception&) {
    }
    task = nullptr;
}

}  // namespace

Lanes::Lanes(size_t mostThreads) : mostThreads_(mostThreads) {
    MutexLock lock(mutex_);
    threads_.emplace_back([this] { Run(); });
}

Lanes::~Lanes() {
    Stop();
}

void Lanes::Submit(Task task) {
    MutexLock lock(mutex_);
    if (stopped_)
        return;  // the task goes after the lock
    tasks_.push_back(std::move(task));
    if (idle_ < tasks_.size() && threads_.size() < mostThreads_ && !stopping_)
        StartThread();
    wake_.NotifyOne();
}

/// @return false when the system has none to give: those that are there do without
bool Lanes::StartThread() {
    try {
        threads_.emplace_back([this] { Run(); });
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

void Lanes::Run() {
    MutexLock lock(mutex_);
    for (;;) {
        ++idle_;
        while (tasks_.empty() && !stopping_)
            wake_.Wait(mutex_);
        --idle_;
        if (tasks_.empty())
            return;
        Task task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.Unlock();
        RunGuarded(task);
        lock.Lock();
    }
}

void Lanes::Stop() {
    std::vector<std::thread> threads;
    {
        MutexLock lock(mutex_);
        stopping_ = true;
        threads.swap(threads_);
        wake_.NotifyAll();
    }
    for (std::thread& thread : threads)
        thread.join();
    RunRest();
}

/// What has come since the last thread ended. Whatever comes after that is dropped, so that no task
/// is left whose end would post another.
void Lanes::RunRest() {
    MutexLock lock(mutex_);
    while (!tasks_.empty()) {
        Task task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.Unlock();
        RunGuarded(task);
        lock.Lock();
    }
    stopped_ = true;
}

void Lane::Post(Lanes::Task task) {
    MutexLock lock(mutex_);
    tasks_.push_back(std::move(task));
    if (tasks_.size() == 1)
        lanes_.Submit([self = shared_from_this()] { self->RunNext(); });
}

void Lane::RunNext() {
    Lanes::Task task;
    {
        MutexLock lock(mutex_);
        task.swap(tasks_.front());
    }
    RunGuarded(task);
    MutexLock lock(mutex_);
    tasks_.pop_front();
    if (!tasks_.empty())
        lanes_.Submit([self = shared_from_this()] { self->RunNext(); });
}

}  // namespace vms::host
