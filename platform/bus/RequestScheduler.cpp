#include "platform/bus/RequestScheduler.h"

#include <atomic>
#include <exception>
#include <utility>

#include "platform/bus/CommandSerial.h"

namespace vms {

/// Handlers and queue of one registration; a module that registers again after it was taken off the
/// bus gets a new one.
struct BusModule {
    using HandlerPtr = std::shared_ptr<const ICommandBus::Handler>;
    using Handlers = std::map<__enumTvCommand, HandlerPtr>;

    explicit BusModule(std::string moduleName) : name(std::move(moduleName)) {}

    const std::string name;
    Handlers handlers;
    ModuleQueue queue;
    bool closing = false;               ///< takes no more requests
    std::atomic<bool> drained = false;  ///< and has none left; set under the scheduler's lock
};

namespace {

/// The module whose handler runs on this thread, to recognise one that would wait for itself.
thread_local const BusModule* runningModule = nullptr;

}  // namespace

RequestScheduler::RequestScheduler(const WorkerPool::Options& workers, size_t maxWaiting,
                                   BusLog& log, Reports reports)
    : maxWaiting_(maxWaiting), log_(log), reports_(std::move(reports)), pool_(workers) {}

bool RequestScheduler::IsInsideHandler() {
    return runningModule != nullptr;
}

void RequestScheduler::Register(const std::string& module, __enumTvCommand id,
                                ICommandBus::Handler handler) {
    auto incoming = std::make_shared<const ICommandBus::Handler>(std::move(handler));
    std::shared_ptr<BusModule> displaced;  // like a displaced handler, destroyed without the lock
    MutexLock lock(mutex_);
    std::shared_ptr<BusModule>& entry = modules_[module];
    if (entry == nullptr || entry->closing)
        displaced = std::exchange(entry, std::make_shared<BusModule>(module));
    entry->handlers[id].swap(incoming);
}

bool RequestScheduler::IsRegistered(std::string_view module) {
    MutexLock lock(mutex_);
    const auto found = modules_.find(module);
    return found != modules_.end() && !found->second->closing;
}

RequestScheduler::Outcome RequestScheduler::Post(std::string_view module, __tagTvCommand record,
                                                 bool reportHandled) {
    auto request = std::make_shared<BusRequest>();
    request->serial = record.serial;
    request->deviceId = record.deviceId;
    request->record = std::move(record);
    request->reportHandled = reportHandled;
    ModuleQueue::Ready ready;
    bool reportFull = false;
    {
        MutexLock lock(mutex_);
        const auto found = modules_.find(module);
        if (found == modules_.end() || found->second->closing ||
            !found->second->handlers.contains(IdOfSerial(request->serial)))
            return Outcome::kNoHandler;
        if (waiting_ < maxWaiting_) {
            request->module = found->second.get();
            found->second->queue.Arrive(std::move(request), ready);
            ++waiting_;
            ++stats_.posted;
            fullReported_ = false;
        } else {
            ++stats_.refused;
            reportFull = !std::exchange(fullReported_, true);
        }
    }
    if (request != nullptr) {
        if (reportFull)
            log_.QueueFull("requests");
        return Outcome::kQueueFull;
    }
    for (RequestPtr& next : ready)
        pool_.Submit(TaskFor(std::move(next)));
    return Outcome::kAccepted;
}

bool RequestScheduler::Unregister(std::string_view name, const Wait& wait) {
    std::shared_ptr<BusModule> module;
    BusModule::Handlers handlers;  // destroyed here, without the lock, before the caller may unload
    MutexLock lock(mutex_);
    const auto found = modules_.find(name);
    if (found == modules_.end() || found->second.get() == runningModule)
        return false;
    module = found->second;
    module->closing = true;
    module->drained = module->queue.IsIdle();
    if (wait) {
        lock.Unlock();
        wait(module->drained);
        lock.Lock();
    }
    while (!module->drained)
        drained_.Wait(mutex_);
    handlers.swap(module->handlers);
    const auto still = modules_.find(name);
    if (still != modules_.end() && still->second == module)
        modules_.erase(still);
    return true;
}

void RequestScheduler::AddStats(CommandBusStats& stats) {
    stats.workers = pool_.Workers();
    MutexLock lock(mutex_);
    stats.posted = stats_.posted;
    stats.refused = stats_.refused;
    stats.handled = stats_.handled;
    stats.threw = stats_.threw;
    stats.queued = waiting_;
}

WorkerPool::Task RequestScheduler::TaskFor(RequestPtr request) {
    return [this, request = std::move(request)] { Run(request); };
}

void RequestScheduler::Run(const RequestPtr& request) {
    runningModule = request->module;
    const bool threw = Invoke(*request);
    runningModule = nullptr;
    if (request->reportHandled)
        reports_.handled(request->serial, threw);
    const bool isFree = Finish(*request, threw);
    reports_.afterRequest(isFree);
}

/// Calls the handler that is registered now. Nothing of the module is held any more when this
/// returns: once the request is finished its library may be unloaded. @return whether it threw
bool RequestScheduler::Invoke(BusRequest& request) {
    BusModule::HandlerPtr handler;
    {
        MutexLock lock(mutex_);
        --waiting_;
        handler = request.module->handlers.at(IdOfSerial(request.serial));
    }
    try {
        (*handler)(&request.record);
        return false;
    } catch (const std::exception& error) {
        log_.HandlerThrew(request.module->name.c_str(), IdOfSerial(request.serial), error.what());
    } catch (...) {
        log_.HandlerThrew(request.module->name.c_str(), IdOfSerial(request.serial),
                          "no standard exception");
    }
    return true;
}

/// @return false when this worker has the next request to run
bool RequestScheduler::Finish(const BusRequest& request, bool threw) {
    ModuleQueue::Ready ready;
    bool drained = false;
    {
        MutexLock lock(mutex_);
        ++stats_.handled;
        stats_.threw += threw ? 1 : 0;
        request.module->queue.Finish(request, ready);
        drained = request.module->closing && request.module->queue.IsIdle();
        if (drained)
            request.module->drained = true;
    }
    if (drained) {
        drained_.NotifyAll();
        reports_.drained();
    }
    for (size_t i = 0; i < ready.size(); ++i) {
        if (i + 1 < ready.size())
            pool_.Submit(TaskFor(std::move(ready[i])));
        else
            pool_.SubmitBeforeReturning(TaskFor(std::move(ready[i])));
    }
    return ready.empty();
}

}  // namespace vms
