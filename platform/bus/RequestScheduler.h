#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "module/ICommandBus.h"
#include "platform/CommandBusStats.h"
#include "platform/Mutex.h"
#include "platform/bus/BusLog.h"
#include "platform/bus/ModuleQueue.h"
#include "platform/bus/WorkerPool.h"

namespace vms {

/// The request side of the bus: knows the handlers of all modules and runs each posted request on a
/// worker, in the order its module's queue allows. Thread-safe.
class RequestScheduler {
public:
    /// Told on a worker when a handler has ended, before the next request of that device starts.
    using HandledReport = std::function<void(int64_t serial, bool threw)>;

    /// Called on a worker once a request is finished and nothing of its module is held any more.
    /// `isFree` is false when the worker's next request is waiting for it.
    using AfterRequest = std::function<void(bool isFree)>;

    /// Called without a lock when a module that is being unregistered has no request left.
    using DrainedReport = std::function<void()>;

    /// How a thread that must not just sleep waits for the flag; the report above tells of it.
    using Wait = std::function<void(const std::atomic<bool>& drained)>;

    struct Reports {
        HandledReport handled;
        AfterRequest afterRequest;
        DrainedReport drained;
    };

    enum class Outcome { kAccepted, kQueueFull, kNoHandler };

    /// @param maxWaiting requests accepted and not started, over all modules
    /// @param log        must outlive the scheduler
    RequestScheduler(const WorkerPool::Options& workers, size_t maxWaiting, BusLog& log,
                     Reports reports);

    /// Whether the calling thread is inside a handler of this or another scheduler.
    static bool IsInsideHandler();

    void Register(const std::string& module, __enumTvCommand id, ICommandBus::Handler handler)
        VMS_EXCLUDES(mutex_);

    bool IsRegistered(std::string_view module) VMS_EXCLUDES(mutex_);

    /// @param reportHandled whether the end of the handler is to be reported
    Outcome Post(std::string_view module, __tagTvCommand record, bool reportHandled)
        VMS_EXCLUDES(mutex_);

    /// As ICommandBus::UnregisterModule.
    /// @param wait how the calling thread waits for the module's requests; empty = it sleeps
    bool Unregister(std::string_view module, const Wait& wait = {}) VMS_EXCLUDES(mutex_);

    /// Drops what has not started and waits for the running handlers. Not from a handler.
    void Stop() { pool_.Stop(); }

    void AddStats(CommandBusStats& stats) VMS_EXCLUDES(mutex_);

private:
    using RequestPtr = ModuleQueue::RequestPtr;

    void Run(const RequestPtr& request) VMS_EXCLUDES(mutex_);
    bool Invoke(BusRequest& request) VMS_EXCLUDES(mutex_);
    bool Finish(const BusRequest& request, bool threw) VMS_EXCLUDES(mutex_);
    WorkerPool::Task TaskFor(RequestPtr request);

    const size_t maxWaiting_;
    BusLog& log_;
    const Reports reports_;

    Mutex mutex_;
    CondVar drained_;
    /// What is inside a module is guarded by mutex_ too.
    std::map<std::string, std::shared_ptr<BusModule>, std::less<>> modules_ VMS_GUARDED_BY(mutex_);
    size_t waiting_ VMS_GUARDED_BY(mutex_) = 0;
    bool fullReported_ VMS_GUARDED_BY(mutex_) = false;
    CommandBusStats stats_ VMS_GUARDED_BY(mutex_);

    WorkerPool pool_;  ///< last: its threads end before anything they use goes
};

}  // namespace vms
