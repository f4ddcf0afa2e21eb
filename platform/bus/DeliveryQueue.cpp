#include "platform/bus/DeliveryQueue.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <utility>

#include "platform/bus/CommandSerial.h"

namespace vms {
namespace {

/// The queue that this thread delivers for: its callbacks must not wait for themselves.
thread_local const DeliveryQueue* deliveringQueue = nullptr;

/// Longest that an answer waits for the end of the handler that gave it.
constexpr std::chrono::milliseconds kLookInterval{5};
/// For how long after such an answer the thread keeps looking at that interval.
constexpr std::chrono::milliseconds kKeepLooking{100};
constexpr int kMostDeliveriesHere = 16;

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

bool DeliveryQueue::Respond(const __tagTvCommand& response, Wake when) {
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
    const bool wake = Push(std::move(delivery), when);
    lock.Unlock();
    if (wake)
        wake_.NotifyOne();
    return true;
}

void DeliveryQueue::DeliverHere() {
    MutexLock lock(mutex_);
    if (delivering_)
        return;
    delivering_ = true;
    for (int count = 0; count < kMostDeliveriesHere && !queue_.empty() && !stopping_; ++count) {
        Job job;
        TakeExpired(job);
        TakeFront(job);
        lock.Unlock();
        deliveringQueue = this;
        Execute(std::move(job));
        deliveringQueue = nullptr;
        lock.Lock();
        EndCallback();
    }
    delivering_ = false;
    const bool wake = !queue_.empty() && std::exchange(sleeping_, false);
    lock.Unlock();
    if (wake)
        wake_.NotifyOne();
}

void DeliveryQueue::Handled(int64_t serial, bool threw) {
    MutexLock lock(mutex_);
    const bool wake = Push(Delivery{Kind::kHandled, threw, serial, {}}, Wake::kSoon);
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
            if (Push(Delivery{Kind::kNotification, false, token, notification}, Wake::kNow))
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
bool DeliveryQueue::Push(Delivery delivery, Wake wake) {
    queue_.push_back(std::move(delivery));
    EnsureThread();
    if (wake == Wake::kSoon) {
        lastSoon_ = std::chrono::steady_clock::now();
        if (looking_)
            return false;
    }
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
        Job job;
        if (!NextJob(job))
            return;
        Execute(std::move(job));
    }
}

void DeliveryQueue::EndCallback() {
    runningKey_ = 0;
    if (waitingForCallback_ > 0)
        callbackEnded_.NotifyAll();
}

/// Ends the previous job and waits for the next. @return false when the thread is to end
bool DeliveryQueue::NextJob(Job& job) {
    MutexLock lock(mutex_);
    if (std::exchange(threadDelivers_, false)) {
        delivering_ = false;
        EndCallback();
    }
    while (!stopping_) {
        TakeExpired(job);
        if (!queue_.empty() && !delivering_) {
            delivering_ = threadDelivers_ = true;
            TakeFront(job);
            return true;
        }
        if (!job.expired.empty())
            return true;
        Sleep();
    }
    return false;
}

void DeliveryQueue::TakeExpired(Job& job) {
    job.expired = pending_.TakeExpired(clock_());
    stats_.expired += job.expired.size();
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
    const auto now = std::chrono::steady_clock::now();
    auto until = now + pending_.UntilExpiry(clock_());
    looking_ = now - lastSoon_ < kKeepLooking;
    if (looking_)
        until = std::min(until, now + kLookInterval);
    sleeping_ = true;
    wake_.WaitUntil(mutex_, until);
    sleeping_ = looking_ = false;
}

/// The job is gone, with all it holds, before its callback counts as ended.
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
