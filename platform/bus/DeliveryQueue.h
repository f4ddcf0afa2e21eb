#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include "module/ICommandBus.h"
#include "platform/CommandBusStats.h"
#include "platform/Mutex.h"
#include "platform/bus/BusLog.h"
#include "platform/bus/PendingRequests.h"

namespace vms {

/// The answering side of the bus: answers, ends of handlers and notifications wait here and are
/// delivered in order, one at a time: by a thread of their own, so that handlers which occupy every
/// worker cannot delay them, or by a worker that has just ended a handler, which spares the answer
/// a change of threads. Thread-safe; no lock is held while a callback runs or is destroyed.
class DeliveryQueue {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// @param maxWaiting answers and notifications not yet delivered
    /// @param lifetime   of a posted request after its last answer
    /// @param log        must outlive the queue
    DeliveryQueue(std::size_t maxWaiting, std::chrono::milliseconds lifetime, Clock clock,
                  BusLog& log);
    ~DeliveryQueue();
    DeliveryQueue(const DeliveryQueue&) = delete;
    DeliveryQueue& operator=(const DeliveryQueue&) = delete;

    /// Announces a request, before it is given to the scheduler. @return false when it must not be
    /// posted because deliveries lag too far behind
    bool Expect(int64_t serial, RequestCallbacks callbacks) VMS_EXCLUDES(mutex_);

    /// As ICommandBus::Cancel.
    void Cancel(int64_t serial) VMS_EXCLUDES(mutex_);

    /// How soon a delivery has to be on its way.
    enum class Wake {
        kNow,   ///< wake the delivery thread
        kSoon,  ///< the caller will come to DeliverHere, or the thread looks within kLookInterval
    };

    /// @return false when nobody waits for the answer or the queue is full
    bool Respond(const __tagTvCommand& response, Wake wake) VMS_EXCLUDES(mutex_);

    /// Delivers what waits on the calling thread, unless another one is at it. A few at most: what
    /// is left goes to the delivery thread.
    void DeliverHere() VMS_EXCLUDES(mutex_);

    /// Queued even when the queue is full: there is at most one per request, and requests are
    /// bounded.
    void Handled(int64_t serial, bool threw) VMS_EXCLUDES(mutex_);

    int64_t Subscribe(__enumTvCommand id, ICommandBus::Callback callback) VMS_EXCLUDES(mutex_);
    void Unsubscribe(int64_t token) VMS_EXCLUDES(mutex_);

    /// @return false when nobody has subscribed or the queue is full
    bool Notify(const __tagTvCommand& notification) VMS_EXCLUDES(mutex_);

    /// Drops what is not yet delivered, waits for a running callback and ends the thread. Not from
    /// a callback.
    void Stop() VMS_EXCLUDES(mutex_);

    void AddStats(CommandBusStats& stats) VMS_EXCLUDES(mutex_);

private:
    using CallbackPtr = std::shared_ptr<const ICommandBus::Callback>;
    enum class Kind { kResponse, kHandled, kNotification };

    struct Delivery {
        Kind kind = Kind::kHandled;
        bool threw = false;
        int64_t key = 0;  ///< serial, or the token of a subscription
        __tagTvCommand record;
    };

    struct Subscription {
        __enumTvCommand id;
        CallbackPtr callback;
    };

    /// What the thread does without the lock: at most one callback to call, and things to destroy.
    struct Job {
        Delivery delivery;
        PendingRequests::CallbacksPtr request;
        CallbackPtr subscription;
        PendingRequests::Entries expired;
    };

    bool Push(Delivery delivery, Wake wake) VMS_REQUIRES(mutex_);
    bool IsFull() const VMS_REQUIRES(mutex_) { return queue_.size() >= maxWaiting_; }
    void ReportFull(const char* what);
    bool EnsureThread() VMS_REQUIRES(mutex_);
    void WaitUntilNotRunning(int64_t key) VMS_REQUIRES(mutex_);
    void EndCallback() VMS_REQUIRES(mutex_);

    void Loop() VMS_EXCLUDES(mutex_);
    bool NextJob(Job& job) VMS_EXCLUDES(mutex_);
    void TakeExpired(Job& job) VMS_REQUIRES(mutex_);
    void TakeFront(Job& job) VMS_REQUIRES(mutex_);
    void Sleep() VMS_REQUIRES(mutex_);
    void Execute(Job job) noexcept;

    const std::size_t maxWaiting_;
    const Clock clock_;
    BusLog& log_;
    std::atomic<bool> fullReported_{false};  ///< until the queue has been empty again

    Mutex mutex_;
    CondVar wake_;
    CondVar callbackEnded_;
    PendingRequests pending_ VMS_GUARDED_BY(mutex_);
    std::map<int64_t, Subscription> subscriptions_ VMS_GUARDED_BY(mutex_);
    int64_t lastToken_ VMS_GUARDED_BY(mutex_) = 0;
    std::deque<Delivery> queue_ VMS_GUARDED_BY(mutex_);
    /// Key of the running callback, 0 = none. Serials start at 2^32, so tokens stay apart from
    /// them.
    int64_t runningKey_ VMS_GUARDED_BY(mutex_) = 0;
    bool delivering_ VMS_GUARDED_BY(mutex_) = false;      ///< one thread at a time
    bool threadDelivers_ VMS_GUARDED_BY(mutex_) = false;  ///< it is the delivery thread
    std::size_t waitingForCallback_ VMS_GUARDED_BY(mutex_) = 0;
    bool sleeping_ VMS_GUARDED_BY(mutex_) = false;
    bool looking_ VMS_GUARDED_BY(mutex_) = false;  ///< sleeping for kLookInterval at most
    std::chrono::steady_clock::time_point lastSoon_ VMS_GUARDED_BY(mutex_);
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;
    CommandBusStats stats_ VMS_GUARDED_BY(mutex_);
    std::thread thread_ VMS_GUARDED_BY(mutex_);  ///< started when first needed
};

}  // namespace vms
