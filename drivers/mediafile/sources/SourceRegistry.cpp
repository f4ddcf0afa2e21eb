#include "drivers/mediafile/sources/SourceRegistry.h"

#include <algorithm>

#include "drivers/mediafile/sources/SourceThread.h"

namespace vms::mediafile {

void SourceRegistry::Add(SourceThread* thread) {
    MutexLock lock(mutex_);
    threads_.insert(thread);
}

void SourceRegistry::Remove(SourceThread* thread) {
    MutexLock lock(mutex_);
    threads_.erase(thread);
}

bool SourceRegistry::CloseAll(std::chrono::milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    open_ = false;
    MutexLock lock(mutex_);
    for (SourceThread* thread : threads_)
        thread->RequestStop();
    while (AnyRunning()) {
        if (!ended_.WaitUntil(mutex_, deadline))
            return !AnyRunning();
    }
    return true;
}

void SourceRegistry::ThreadEnded() {
    MutexLock lock(mutex_);
    ended_.NotifyAll();
}

bool SourceRegistry::AnyRunning() const {
    return std::any_of(threads_.begin(), threads_.end(),
                       [](const SourceThread* thread) { return !thread->Closed(); });
}

}  // namespace vms::mediafile
