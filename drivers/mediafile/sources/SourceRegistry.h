#pragma once

#include <atomic>
#include <chrono>
#include <set>

#include "platform/Mutex.h"

namespace vms::mediafile {

class SourceThread;

/// Knows every source thread of the family, so that all can be ended before the sink goes away.
/// Thread-safe; shared by the factory and its sources.
class SourceRegistry {
public:
    void Add(SourceThread* thread) VMS_EXCLUDES(mutex_);
    void Remove(SourceThread* thread) VMS_EXCLUDES(mutex_);

    /// From now on threads may be started again.
    void Open() { open_ = true; }
    bool IsOpen() const { return open_; }

    /// Refuses new threads, asks all to stop and waits for them.
    /// @return false when some still run at the end of the time
    bool CloseAll(std::chrono::milliseconds time) VMS_EXCLUDES(mutex_);

    /// Called by a thread at its end.
    void ThreadEnded() VMS_EXCLUDES(mutex_);

private:
    bool AnyRunning() const VMS_REQUIRES(mutex_);

    std::atomic<bool> open_{true};
    Mutex mutex_;
    CondVar ended_;
    std::set<SourceThread*> threads_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::mediafile
