// How the bus makes its deliveries: the thread, workers with nothing else to do, and callbacks that
// wait for the bus.

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/bus/CommandSerial.h"
#include "platform/bus/DeliveryQueue.h"

namespace vms {
namespace {

/// The queue that this thread delivers for: its callbacks must not wait for themselves.
thread_local const DeliveryQueue* deliveringQueue = nullptr;

/// Longest that an answer waits for the end of the handler that gave it.
constexpr std::chrono::milliseconds kMidHandlerDelay{5};

constexpr int kMostDeliveriesHere = 16;

}  // namespace

bool DeliveryQueue::IsInsideCallback() const {
    return deliveringQueue == this;
}

void DeliveryQueue::DeliverHere() {
    MutexLock lock(mutex_);
    if (delivering_ || queue_.empty())
        return;
    delivering_ = true;
    for (int count = 0; count < kMostDeliveriesHere && !queue_.empty() && !stopping_; ++count) {
        DestroyExpired();
        DeliverFront();
    }
    delivering_ = false;
    if (queue_.empty())
        DisarmDoorbell();
    else
        WakeThread();
}

void DeliveryQueue::DeliverUntil(const std::atomic<bool>& done) {
    MutexLock lock(mutex_);
    while (!done) {
        DestroyExpired();
        if (!queue_.empty() && !stopping_) {
            DeliverFront();
            continue;
        }
        waitingInCallback_ = true;
        nudged_.WaitUntil(mutex_,
                          std::chrono::steady_clock::now() + pending_.UntilExpiry(clock_()));
        waitingInCallback_ = false;
    }
}

void DeliveryQueue::Loop() {
    MutexLock lock(mutex_);
    while (!stopping_) {
        DestroyExpired();
        if (queue_.empty() || delivering_) {
            Sleep();
            continue;
        }
        delivering_ = true;
        DeliverFront();
        delivering_ = false;
    }
}

void DeliveryQueue::Sleep() {
    if (stopping_)
        return;
    fullReported_ = false;
    DisarmDoorbell();
    sleeping_ = true;
    Doorbell& doorbell = *doorbell_;
    const auto until = std::chrono::steady_clock::now() + pending_.UntilExpiry(clock_());
    mutex_.Unlock();
    const bool delayPassed = doorbell.WaitUntil(until);
    mutex_.Lock();
    sleeping_ = false;
    if (delayPassed)
        armed_ = false;
}

/// Under load it is armed once per delay and left so: it then wakes the thread for nothing, which
/// costs less than setting it for every answer. Else it is disarmed, and no core wakes for nothing.
void DeliveryQueue::ArmDoorbell() {
    const auto now = std::chrono::steady_clock::now();
    leaveArmed_ = now - std::exchange(lastArmed_, now) < kMidHandlerDelay;
    if (!std::exchange(armed_, true))
        doorbell_->RingAfter(kMidHandlerDelay);
}

void DeliveryQueue::DisarmDoorbell() {
    if (!leaveArmed_ && std::exchange(armed_, false))
        doorbell_->Disarm();
}

void DeliveryQueue::DestroyExpired() {
    PendingRequests::Entries expired = pending_.TakeExpired(clock_());
    if (expired.empty())
        return;
    stats_.expired += expired.size();
    mutex_.Unlock();
    expired.clear();
    mutex_.Lock();
}

/// Delivers the oldest. The job is gone, with all it holds, before its callback counts as ended.
void DeliveryQueue::DeliverFront() {
    Job job = TakeFront();
    running_.push_back(job.delivery.key);
    mutex_.Unlock();
    const DeliveryQueue* const outer = std::exchange(deliveringQueue, this);
    Execute(std::move(job));
    deliveringQueue = outer;
    mutex_.Lock();
    running_.pop_back();
    if (waitingForCallback_ > 0)
        callbackEnded_.NotifyAll();
}

DeliveryQueue::Job DeliveryQueue::TakeFront() {
    Job job;
    job.delivery = std::move(queue_.front());
    queue_.pop_front();
    if (job.delivery.kind != Kind::kNotification) {
        job.request = pending_.Find(job.delivery.key);
        return job;
    }
    const auto found = subscriptions_.find(job.delivery.key);
    if (found != subscriptions_.end())
        job.subscription = found->second.callback;
    return job;
}

void DeliveryQueue::Execute(Job job) noexcept {
    const Delivery& delivery = job.delivery;
    try {
        if (job.subscription != nullptr && *job.subscription)
            (*job.subscription)(delivery.record);
        else if (job.request != nullptr && delivery.kind == Kind::kResponse)
            job.request->onResponse(delivery.record);
        else if (job.request != nullptr && job.request->onHandled)
            job.request->onHandled(delivery.threw);
    } catch (const std::exception& error) {
        log_.CallbackThrew(IdOfSerial(delivery.record.serial), error.what());
    } catch (...) {
        log_.CallbackThrew(IdOfSerial(delivery.record.serial), "no standard exception");
    }
}

}  // namespace vms
