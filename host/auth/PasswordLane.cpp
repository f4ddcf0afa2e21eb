#include "host/auth/PasswordLane.h"

#include <utility>

namespace vms::host {
namespace {

/// What a job throws is its own affair; it has dropped whoever waits for it.
void RunJob(const PasswordLane::Job& job) noexcept {
    try {
        job();
    } catch (const std::exception&) {
        return;
    }
}

}  // namespace

PasswordLane::PasswordLane(Job pause, std::chrono::milliseconds every)
    : pause_(std::move(pause)),
      every_(every),
      paused_(std::chrono::steady_clock::now()),
      thread_([this] { Run(); }) {}

PasswordLane::~PasswordLane() {
    std::map<std::string, std::deque<Job>> dropped;
    {
        MutexLock lock(mutex_);
        stop_ = true;
        dropped.swap(jobs_);
        turns_.clear();
        changed_.NotifyAll();
    }
    dropped.clear();
    thread_.join();
}

bool PasswordLane::Post(const std::string& address, Job job) {
    MutexLock lock(mutex_);
    if (stop_ || waiting_ >= kMost)
        return false;
    std::deque<Job>& own = jobs_[address];
    if (own.size() >= kMostOfAddress)
        return false;
    if (own.empty())
        turns_.push_back(address);
    own.push_back(std::move(job));
    ++waiting_;
    changed_.NotifyOne();
    return true;
}

void PasswordLane::Run() {
    for (;;) {
        Job job;
        if (!Take(job))
            return;
        if (job)
            RunJob(job);
        const auto now = std::chrono::steady_clock::now();
        if (now - paused_ >= every_) {
            paused_ = now;
            RunJob(pause_);
        }
    }
}

/// Waits for a job, or until it is time for a pause. @return false at the end
bool PasswordLane::Take(Job& job) {
    MutexLock lock(mutex_);
    while (turns_.empty() && !stop_) {
        if (!changed_.WaitUntil(mutex_, paused_ + every_))
            return !stop_;
    }
    if (stop_)
        return false;
    const std::string address = turns_.front();
    turns_.pop_front();
    const auto own = jobs_.find(address);
    job = std::move(own->second.front());
    own->second.pop_front();
    --waiting_;
    if (own->second.empty())
        jobs_.erase(own);
    else
        turns_.push_back(address);
    return true;
}

}  // namespace vms::host
