#include "videodevice/core/WorkerGroup.h"

#include <exception>
#include <iterator>
#include <utility>

#include "videodevice/core/Guarded.h"

namespace vms {

bool WorkerGroup::Start(std::function<void()> work) {
    Reap();
    MutexLock lock(mutex_);
    Worker& worker = workers_.emplace_back();
    try {
        worker.thread = std::thread([&done = worker.done, work = std::move(work)]() mutable {
            Guarded("WorkerGroup", work);
            work = nullptr;
            done = true;
        });
    } catch (const std::exception&) {
        workers_.pop_back();
        return false;
    }
    return true;
}

void WorkerGroup::Reap() {
    Workers finished;
    {
        MutexLock lock(mutex_);
        for (auto worker = workers_.begin(); worker != workers_.end();) {
            const auto next = std::next(worker);
            if (worker->done)
                finished.splice(finished.end(), workers_, worker);
            worker = next;
        }
    }
    for (Worker& worker : finished)
        worker.thread.join();
}

void WorkerGroup::Join() {
    for (;;) {
        Workers workers;
        {
            MutexLock lock(mutex_);
            workers.swap(workers_);
        }
        if (workers.empty())
            return;
        for (Worker& worker : workers)
            worker.thread.join();
    }
}

}  // namespace vms
