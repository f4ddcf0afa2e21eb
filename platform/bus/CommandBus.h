#pragma once

#include <chrono>
#include <cstddef>

#include "module/ICommandBus.h"
#include "platform/CommandBusStats.h"
#include "platform/bus/BusLog.h"
#include "platform/bus/DeliveryQueue.h"
#include "platform/bus/RequestScheduler.h"
#include "platform/bus/WorkerPool.h"

namespace vms {

struct CommandBusOptions {
    size_t maxWaitingRequests = 10'000;
    size_t maxWaitingDeliveries = 100'000;
    std::chrono::milliseconds lifetime{70'000};  ///< of a posted request after its last answer
    DeliveryQueue::Clock clock = std::chrono::steady_clock::now;  ///< must not go back
    WorkerPool::Options workers{};
};

/// The command bus: a scheduler with a worker pool for requests, a delivery queue with its own
/// thread for everything that comes back. Threads are started when first needed.
class CommandBus final : public ICommandBus {
public:
    explicit CommandBus(CommandBusOptions options = {});

    /// Waits for the running handlers and callbacks; what has not started is dropped. Not from one
    /// of them.
    ~CommandBus();
    CommandBus(const CommandBus&) = delete;
    CommandBus& operator=(const CommandBus&) = delete;

    bool RegisterCommand(const char* module, __enumTvCommand id, Handler handler) override;
    bool SendResponse(__tagTvCommand* response) override;
    bool SendRequest(__tagTvCommand* request) override;
    int64_t Post(const char* module, const __tagTvCommand& request, Callback onResponse,
                 std::function<void(bool threw)> onHandled = {}) override;
    void Cancel(int64_t serial) override;
    int64_t Subscribe(__enumTvCommand id, Callback onNotification) override;
    void Unsubscribe(int64_t token) override;
    bool UnregisterModule(const char* module) override;

    void SetLog(ILogHandler* sink) { log_.SetSink(sink); }
    CommandBusStats Stats();

private:
    BusLog log_;
    DeliveryQueue deliveries_;
    RequestScheduler scheduler_;  ///< goes first: its handlers still answer while they end
};

}  // namespace vms
