#include "drivers/httpdevice/session/JobPool.h"

#include <exception>
#include <system_error>
#include <utility>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {

JobPool::JobPool(size_t threads) {
    while (threads_.size() < threads) {
        try {
            threads_.emplace_back([this] { Work(); });
        } catch (const std::system_error&) {
            if (threads_.empty())
                throw;
            return;
        }
    }
}

JobPool::~JobPool() {
    Stop();
}

void JobPool::Run(Job job) {
    MutexLock lock(mutex_);
    if (stop_)
        return;
    jobs_.push_back(std::move(job));
    changed_.NotifyOne();
}

void JobPool::Stop() {
    std::deque<Job> dropped;  // goes when nothing is locked
    {
        MutexLock lock(mutex_);
        stop_ = true;
        dropped.swap(jobs_);
        changed_.NotifyAll();
    }
    for (std::thread& thread : threads_) {
        if (thread.joinable())
            thread.join();
    }
}

void JobPool::Work() {
    for (;;) {
        Job job;
        {
            MutexLock lock(mutex_);
            while (!stop_ && jobs_.empty())
                changed_.Wait(mutex_);
            if (stop_)
                return;
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        try {
            job();
        } catch (const std::exception& error) {
            VMS_LOG(3, "JobPool", "job ends: %s", error.what());
        } catch (...) {
            VMS_LOG(3, "JobPool", "job ends: unknown exception");
        }
    }
}

}  // namespace vms::httpdevice
