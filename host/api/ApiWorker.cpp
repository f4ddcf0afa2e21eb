#include "host/api/ApiWorker.h"

#include <utility>

namespace vms::host {

ApiWorker::ApiWorker() : thread_([this] { Run(); }) {}

ApiWorker::~ApiWorker() {
    std::deque<std::function<void()>> dropped;
    {
        MutexLock lock(mutex_);
        stop_ = true;
        dropped.swap(tasks_);
        posted_.NotifyAll();
    }
    thread_.join();
}

bool ApiWorker::Post(std::function<void()> task) {
    MutexLock lock(mutex_);
    if (stop_ || tasks_.size() >= kMostWaiting)
        return false;
    tasks_.push_back(std::move(task));
    posted_.NotifyOne();
    return true;
}

void ApiWorker::Run() {
    for (;;) {
        std::function<void()> task;
        {
            MutexLock lock(mutex_);
            while (tasks_.empty() && !stop_)
                posted_.Wait(mutex_);
            if (stop_)
                return;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
    }
}

}  // namespace vms::host
