#include "platform/bus/DeliveryQueue.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/bus/CommandSerial.h"

namespace vms {
DeliveryQueue::DeliveryQueue(size_t maxWaiting, std::chrono::milliseconds lifetime, Clock clock,
                             BusLog& log)
    : maxWaiting_(maxWaiting), clock_(std::move(clock)), log_(log), pending_(lifetime) {}

DeliveryQueue::~DeliveryQueue() {
    Stop();
}

bool DeliveryQueue::Expect(int64_t serial, RequestCallbacks callbacks) {
    auto shared = std::make_shared<const RequestCallbacks>(std::move(callbacks));
    MutexLock lock(mutex_);
    if (IsFull() || !EnsureThread())
        return false;
    pending_.Add(serial, std::move(shared), clock_());
    return true;
}

void DeliveryQueue::Cancel(int64_t serial) {
    PendingRequests::Entries cancelled;  // destroyed after the lock is gone
    MutexLock lock(mutex_);
    cancelled = pending_.Take(serial);
    WaitUntilNotRunning(serial);
}

bool DeliveryQueue::Respond(const __tagTvCommand& response, Wake wake) {
    Delivery delivery{Kind::kResponse, false, response.serial, response};
    MutexLock lock(mutex_);
    const bool full = IsFull();
    if (full || !pending_.Answered(response.serial, clock_())) {
        ++stats_.droppedResponses;
        lock.Unlock();
        if (full)
            ReportFull("answers");
        return false;
    }
    ++stats_.responses;
    Push(std::move(delivery), wake);
    return true;
}

void DeliveryQueue::LeaveToThread() {
    MutexLock lock(mutex_);
    if (!queue_.empty() && !delivering_)
        WakeThread();
}

void DeliveryQueue::Nudge() {
    MutexLock lock(mutex_);
    nudged_.NotifyOne();
}

void DeliveryQueue::Handled(int64_t serial, bool threw) {
    MutexLock lock(mutex_);
    Push(Delivery{Kind::kHandled, threw, serial, {}}, Wake::kLater);
}

int64_t DeliveryQueue::Subscribe(__enumTvCommand id, ICommandBus::Callback callback) {
    auto shared = std::make_shared<const ICommandBus::Callback>(std::move(callback));
    MutexLock lock(mutex_);
    const int64_t token = ++lastToken_;
    subscriptions_.emplace(token, Subscription{id, std::move(shared)});
    return token;
}

void DeliveryQueue::Unsubscribe(int64_t token) {
    CallbackPtr removed;  // destroyed after the lock is gone
    MutexLock lock(mutex_);
    const auto found = subscriptions_.find(token);
    if (found != subscriptions_.end()) {
        removed = std::move(found->second.callback);
        subscriptions_.erase(found);
    }
    WaitUntilNotRunning(token);
}

bool DeliveryQueue::Notify(const __tagTvCommand& notification) {
    const __enumTvCommand id = IdOfSerial(notification.serial);
    size_t accepted = 0;
    size_t dropped = 0;
    {
        MutexLock lock(mutex_);
        for (const auto& [token, subscription] : subscriptions_) {
            if (subscription.id != id)
                continue;
            if (IsFull()) {
                ++dropped;
                continue;
            }
            ++accepted;
            Push(Delivery{Kind::kNotification, false, token, notification}, Wake::kNow);
        }
        stats_.notifications += accepted;
        stats_.droppedNotifications += dropped;
    }
    if (dropped > 0)
        ReportFull("notifications");
    return accepted > 0;
}

void DeliveryQueue::Stop() {
    std::thread thread;
    {
        MutexLock lock(mutex_);
        stopping_ = true;
        thread.swap(thread_);
        if (doorbell_ != nullptr)
            doorbell_->Ring();
    }
    if (thread.joinable())
        thread.join();
}

void DeliveryQueue::AddStats(CommandBusStats& stats) {
    MutexLock lock(mutex_);
    stats.responses = stats_.responses;
    stats.droppedResponses = stats_.droppedResponses;
    stats.notifications = stats_.notifications;
    stats.droppedNotifications = stats_.droppedNotifications;
    stats.expired = stats_.expired;
}

/// Whoever delivers looks at the queue again before it stops doing so.
void DeliveryQueue::Push(Delivery delivery, Wake wake) {
    queue_.push_back(std::move(delivery));
    const bool hasThread = EnsureThread();
    if (waitingInCallback_) {
        nudged_.NotifyOne();
    } else if (hasThread && !delivering_ && wake == Wake::kNow) {
        WakeThread();
    } else if (hasThread && !delivering_ && wake == Wake::kSoon && sleeping_) {
        ArmDoorbell();
    }
}

void DeliveryQueue::WakeThread() {
    if (std::exchange(sleeping_, false))
        doorbell_->Ring();
}

void DeliveryQueue::ReportFull(const char* what) {
    if (!fullReported_.exchange(true))
        log_.QueueFull(what);
}

bool DeliveryQueue::EnsureThread() {
    if (stopping_)
        return false;
    if (thread_.joinable())
        return true;
    try {
        if (doorbell_ == nullptr)
            doorbell_ = std::make_unique<Doorbell>();
        thread_ = std::thread([this] { Loop(); });
        return true;
    } catch (const std::system_error&) {
        return false;  // whoever comes next tries again
    }
}

void DeliveryQueue::WaitUntilNotRunning(int64_t key) {
    if (IsInsideCallback())
        return;
    ++waitingForCallback_;
    while (std::find(running_.begin(), running_.end(), key) != running_.end())
        callbackEnded_.Wait(mutex_);
    --waitingForCallback_;
}

}  // namespace vms
