#include "platform/bus/DeliveryQueue.h"

#include <exception>
#include <system_error>
#include <utility>

#include "platform/bus/CommandSerial.h"

namespace vms {
namespace {

/// The queue that this thread delivers for: its callbacks must not wait for themselves.
thread_local const DeliveryQueue* deliveringQueue = nullptr;

}  // namespace

DeliveryQueue::DeliveryQueue(std::size_t maxWaiting, std::chrono::milliseconds lifetime,
                             Clock clock, BusLog& log)
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

bool DeliveryQueue::Respond(const __tagTvCommand& response) {
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
    const bool wake = Push(std::move(delivery));
    lock.Unlock();
    if (wake)
        wake_.NotifyOne();
    return true;
}

void DeliveryQueue::Handled(int64_t serial, bool threw) {
    MutexLock lock(mutex_);
    const bool wake = Push(Delivery{Kind::kHandled, threw, serial, {}});
    lock.Unlock();
    if (wake)
        wake_.NotifyOne();
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
    std::size_t accepted = 0;
    std::size_t dropped = 0;
    bool wake = false;
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
            if (Push(Delivery{Kind::kNotification, false, token, notification}))
                wake = true;
        }
        stats_.notifications += accepted;
        stats_.droppedNotifications += dropped;
    }
    if (wake)
        wake_.NotifyOne();
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
    }
    wake_.NotifyOne();
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

/// @return whether the thread sleeps and is to be woken, once the lock is gone
bool DeliveryQueue::Push(Delivery delivery) {
    queue_.push_back(std::move(delivery));
    EnsureThread();
    return std::exchange(sleeping_, false);
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
        thread_ = std::thread([this] { Loop(); });
        return true;
    } catch (const std::system_error&) {
        return false;  // whoever comes next tries again
    }
}

void DeliveryQueue::WaitUntilNotRunning(int64_t key) {
    if (deliveringQueue == this)
        return;
    ++waitingForCallback_;
    while (runningKey_ == key)
        callbackEnded_.Wait(mutex_);
    --waitingForCallback_;
}

void DeliveryQueue::Loop() {
    deliveringQueue = this;
    for (;;) {
        Job job;  // gone, with all it holds, before its callback counts as ended
        if (!NextJob(job))
            return;
        Execute(job);
    }
}

/// Ends the previous job and waits for the next. @return false when the thread is to end
bool DeliveryQueue::NextJob(Job& job) {
    MutexLock lock(mutex_);
    runningKey_ = 0;
    if (waitingForCallback_ > 0)
        callbackEnded_.NotifyAll();
    while (!stopping_) {
        job.expired = pending_.TakeExpired(clock_());
        stats_.expired += job.expired.size();
        if (!queue_.empty()) {
            TakeFront(job);
            return true;
        }
        if (!job.expired.empty())
            return true;
        Sleep();
    }
    return false;
}

/// Takes the oldest delivery, and its callback unless that has been cancelled meanwhile.
void DeliveryQueue::TakeFront(Job& job) {
    job.delivery = std::move(queue_.front());
    queue_.pop_front();
    runningKey_ = job.delivery.key;
    if (job.delivery.kind != Kind::kNotification) {
        job.request = pending_.Find(job.delivery.key);
        return;
    }
    const auto found = subscriptions_.find(job.delivery.key);
    if (found != subscriptions_.end())
        job.subscription = found->second.callback;
}

void DeliveryQueue::Sleep() {
    fullReported_ = false;
    sleeping_ = true;
    wake_.WaitUntil(mutex_, std::chrono::steady_clock::now() + pending_.UntilExpiry(clock_()));
    sleeping_ = false;
}

void DeliveryQueue::Execute(const Job& job) noexcept {
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
