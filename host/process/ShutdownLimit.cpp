#include "host/process/ShutdownLimit.h"

#include <utility>

namespace vms::host {

ShutdownLimit::ShutdownLimit(std::chrono::steady_clock::duration bound,
                             std::function<void()> onExpiry)
    : deadline_(std::chrono::steady_clock::now() + bound),
      onExpiry_(std::move(onExpiry)),
      thread_([this] { Run(); }) {}

ShutdownLimit::~ShutdownLimit() {
    {
        MutexLock lock(mutex_);
        inTime_ = true;
        ended_.NotifyAll();
    }
    thread_.join();
}

void ShutdownLimit::Run() {
    MutexLock lock(mutex_);
    while (!inTime_ && ended_.WaitUntil(mutex_, deadline_)) {
    }
    const bool expired = !inTime_;
    lock.Unlock();
    if (expired)
        onExpiry_();
}

}  // namespace vms::host
