#include "platform/bus/CommandBus.h"

#include <utility>

#include "platform/bus/CommandSerial.h"

namespace vms {

CommandBus::CommandBus(CommandBusOptions options)
    : deliveries_(options.maxWaitingDeliveries, options.lifetime, std::move(options.clock), log_),
      scheduler_(
          options.workers, options.maxWaitingRequests, log_,
          {.handled = [this](int64_t serial, bool threw) { deliveries_.Handled(serial, threw); },
           .afterRequest =
               [this](bool isFree) {
                   if (isFree)
                       deliveries_.DeliverHere();
                   else
                       deliveries_.LeaveToThread();
               },
           .drained = [this] { deliveries_.Nudge(); }}) {}

CommandBus::~CommandBus() {
    scheduler_.Stop();
    deliveries_.Stop();
}

bool CommandBus::RegisterCommand(const char* module, __enumTvCommand id, Handler handler) {
    if (module == nullptr || *module == '\0' || !handler)
        return false;
    scheduler_.Register(module, id, std::move(handler));
    return true;
}

bool CommandBus::SendResponse(__tagTvCommand* response) {
    if (response == nullptr)
        return false;
    const auto wake = RequestScheduler::IsInsideHandler() ? DeliveryQueue::Wake::kSoon
                                                          : DeliveryQueue::Wake::kNow;
    return deliveries_.Respond(*response, wake);
}

bool CommandBus::SendRequest(__tagTvCommand* request) {
    if (request == nullptr)
        return false;
    if (scheduler_.IsRegistered(request->target))
        return scheduler_.Post(request->target, *request, false) ==
               RequestScheduler::Outcome::kAccepted;
    return deliveries_.Notify(*request);
}

int64_t CommandBus::Post(const char* module, const __tagTvCommand& request, Callback onResponse,
                         std::function<void(bool threw)> onHandled) {
    if (module == nullptr)
        return kNoHandler;
    __tagTvCommand record = request;
    record.serial = NextSerial(IdOfSerial(request.serial));
    const int64_t serial = record.serial;
    const bool reportHandled = static_cast<bool>(onHandled);
    const bool isExpected = onResponse || onHandled;
    if (isExpected &&
        !deliveries_.Expect(serial, RequestCallbacks{std::move(onResponse), std::move(onHandled)}))
        return kQueueFull;
    const auto outcome = scheduler_.Post(module, std::move(record), reportHandled);
    if (outcome == RequestScheduler::Outcome::kAccepted)
        return serial;
    if (isExpected)
        deliveries_.Cancel(serial);
    return outcome == RequestScheduler::Outcome::kQueueFull ? kQueueFull : kNoHandler;
}

void CommandBus::Cancel(int64_t serial) {
    deliveries_.Cancel(serial);
}

int64_t CommandBus::Subscribe(__enumTvCommand id, Callback onNotification) {
    return deliveries_.Subscribe(id, std::move(onNotification));
}

void CommandBus::Unsubscribe(int64_t token) {
    deliveries_.Unsubscribe(token);
}

bool CommandBus::UnregisterModule(const char* module) {
    if (module == nullptr)
        return false;
    if (!deliveries_.IsInsideCallback())
        return scheduler_.Unregister(module);
    return scheduler_.Unregister(
        module, [this](const std::atomic<bool>& drained) { deliveries_.DeliverUntil(drained); });
}

CommandBusStats CommandBus::Stats() {
    CommandBusStats stats;
    scheduler_.AddStats(stats);
    deliveries_.AddStats(stats);
    return stats;
}

}  // namespace vms
