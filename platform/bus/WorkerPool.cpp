#include "platform/bus/WorkerPool.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace vms {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kRetryStart{100};

/// Gives `thread` a running thread; false when the system has none to give.
template <class Function>
bool StartThread(std::thread& thread, Function function) {
    try {
        thread = std::thread(std::move(function));
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace

WorkerPool::WorkerPool(const Options& options) : options_(options), slots_(options.maxWorkers) {
    idle_.reserve(options.maxWorkers);
}

WorkerPool::~WorkerPool() {
    Stop();
}

void WorkerPool::Submit(Task task) {
    MutexLock lock(mutex_);
    if (stopping_)
        return;
    if (!idle_.empty()) {
        Slot* const slot = idle_.back();
        idle_.pop_back();
        slot->task = std::move(task);
        lock.Unlock();
        slot->wake.NotifyOne();
        return;
    }
    queue_.push_back(std::move(task));
    if (workers_ >= options_.baseWorkers || !StartWorker())
        WatchBacklog();
}

void WorkerPool::SubmitBeforeReturning(Task task) {
    MutexLock lock(mutex_);
    if (stopping_)
        return;
    queue_.push_back(std::move(task));
    if (queue_.size() > 1)
        WatchBacklog();
}

void WorkerPool::Stop() {
    std::deque<Task> dropped;
    std::vector<std::thread> threads;
    {
        MutexLock lock(mutex_);
        stopping_ = true;
        dropped.swap(queue_);
        for (Slot& slot : slots_) {
            slot.wake.NotifyOne();
            threads.push_back(std::move(slot.thread));
        }
        watcherWake_.NotifyOne();
        threads.push_back(std::move(watcher_));
    }
    dropped.clear();
    for (std::thread& thread : threads) {
        if (thread.joinable())
            thread.join();
    }
}

size_t WorkerPool::Workers() {
    MutexLock lock(mutex_);
    return workers_;
}

bool WorkerPool::StartWorker() {
    if (stopping_)
        return false;
    const auto slot = std::find_if(slots_.begin(), slots_.end(),
                                   [](const Slot& candidate) { return !candidate.occupied; });
    if (slot == slots_.end())
        return false;
    if (slot->thread.joinable())
        slot->thread.join();  // left the loop already and needs no lock any more
    if (!StartThread(slot->thread, [this, place = &*slot] { WorkerLoop(*place); }))
        return false;
    slot->occupied = true;
    ++workers_;
    return true;
}

bool WorkerPool::IsBacklogged() const {
    return !queue_.empty() && workers_ < options_.maxWorkers;
}

void WorkerPool::WatchBacklog() {
    if (watching_ || !IsBacklogged())
        return;
    watching_ = true;
    if (watcher_.joinable())
        watcherWake_.NotifyOne();
    else if (!StartThread(watcher_, [this] { WatcherLoop(); }))
        watching_ = false;
}

/// One worker more for every task that waits. @return false when a thread could not be started
bool WorkerPool::Grow() {
    for (size_t missing = queue_.size(); missing > 0 && workers_ < options_.maxWorkers; --missing) {
        if (!StartWorker())
            return false;
    }
    return true;
}

/// Tells tasks that merely queue behind short ones from tasks that wait because every worker is
/// stuck: only when none was taken for a whole period are workers added.
void WorkerPool::WatcherLoop() {
    MutexLock lock(mutex_);
    auto period = options_.growAfter;
    while (!stopping_) {
        if (!IsBacklogged()) {
            watching_ = false;
            watcherWake_.Wait(mutex_);
            continue;
        }
        const uint64_t takenBefore = taken_;
        watcherWake_.WaitUntil(mutex_, steady_clock::now() + period);
        period = options_.growAfter;
        if (taken_ == takenBefore && !Grow())
            period = std::max(period, kRetryStart);
    }
}

void WorkerPool::WorkerLoop(Slot& slot) {
    Task task;
    while (NextTask(slot, task)) {
        task();
        task = nullptr;  // what it holds is released here, without the lock
    }
}

/// @return false when the worker is to end
bool WorkerPool::NextTask(Slot& slot, Task& task) {
    MutexLock lock(mutex_);
    if (!stopping_ && queue_.empty() && !WaitForHandOver(slot)) {
        slot.occupied = false;
        --workers_;
        return false;
    }
    if (stopping_)
        return false;
    if (slot.task) {
        task = std::exchange(slot.task, nullptr);
        return true;
    }
    task = std::move(queue_.front());
    queue_.pop_front();
    ++taken_;
    return true;
}

/// @return false when the worker was surplus and idle for too long
bool WorkerPool::WaitForHandOver(Slot& slot) {
    idle_.push_back(&slot);
    while (!slot.task && !stopping_) {
        if (workers_ <= options_.baseWorkers) {
            slot.wake.Wait(mutex_);
            continue;
        }
        const bool inTime = slot.wake.WaitUntil(mutex_, steady_clock::now() + options_.idleTime);
        if (inTime || slot.task || stopping_ || workers_ <= options_.baseWorkers)
            continue;
        std::erase(idle_, &slot);
        return false;
    }
    return true;
}

}  // namespace vms
