#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "drivers/mediafile/sources/SourceRegistry.h"
#include "platform/Mutex.h"

namespace vms::mediafile {

/// The one thread of a source. Thread-safe but for the destructor. Declare it last in its owner:
/// the destructor ends the thread before the rest goes.
class SourceThread {
public:
    /// @param stop true once the thread shall end
    using Body = std::function<void(const std::atomic<bool>& stop)>;

    /// @param wake makes the body look at its stop flag; called by any thread, must not block
    SourceThread(std::shared_ptr<SourceRegistry> registry, std::function<void()> wake);

    /// Stops and joins; at once when Closed().
    ~SourceThread();
    SourceThread(const SourceThread&) = delete;
    SourceThread& operator=(const SourceThread&) = delete;

    /// Starts the body unless it has been started before. Exceptions that leave it are logged.
    /// @return false after RequestStop, or when there is no thread to be had
    bool Start(Body body) VMS_EXCLUDES(mutex_);

    /// Asks the body to end and returns; for good.
    void RequestStop() VMS_EXCLUDES(mutex_);

    /// True while no thread runs.
    bool Closed() const { return !running_; }

private:
    void Run(const Body& body);

    const std::shared_ptr<SourceRegistry> registry_;
    const std::function<void()> wake_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> running_{false};
    Mutex mutex_;
    std::thread thread_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::mediafile
