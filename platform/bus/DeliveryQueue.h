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
#include <vector>

#include "module/ICommandBus.h"
#include "platform/CommandBusStats.h"
#include "platform/Mutex.h"
#include "platform/bus/BusLog.h"
#include "platform/bus/Doorbell.h"
#include "platform/bus/PendingRequests.h"

namespace vms {

/// The answering side of the bus: answers, ends of handlers and notifications wait here and are
/// delivered in order, one at a time: by a thread of their own, so that handlers which occupy every
/// worker cannot delay them, or by a worker that has just ended a handler and has nothing else to
/// do, which spares the answer a change of threads. A callback that waits for the bus delivers what
/// comes meanwhile (DeliverUntil). Thread-safe; no lock is held while a callback runs or is
/// destroyed.
class DeliveryQueue {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// @param maxWaiting answers and notifications not yet delivered
    /// @param lifetime   of a posted request after its last answer
    /// @param log        must outlive the queue
    DeliveryQueue(size_t maxWaiting, std::chrono::milliseconds lifetime, Clock clock, BusLog& log);
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
        kNow,    ///< wake the delivery thread
        kSoon,   ///< the caller will come back when its handler ends, else within kMidHandlerDelay
        kLater,  ///< the caller comes to DeliverHere or LeaveToThread next
    };

    /// @return false when nobody waits for the answer or the queue is full
    bool Respond(const __tagTvCommand& response, Wake wake) VMS_EXCLUDES(mutex_);

    /// Delivers what waits on the calling thread, unless another one is at it. A few at most: what
    /// is left goes to the delivery thread.
    void DeliverHere() VMS_EXCLUDES(mutex_);

    /// For a worker that has other work to do: what waits goes to the delivery thread.
    void LeaveToThread() VMS_EXCLUDES(mutex_);

    /// Whether the calling thread is inside a callback of this queue.
    bool IsInsideCallback() const;

    /// Inside a callback that waits for `done`, which is asked without the lock held by others:
    /// goes on delivering on this thread, so that nothing waits behind the callback. Nudge wakes
    /// it.
    void DeliverUntil(const std::atomic<bool>& done) VMS_EXCLUDES(mutex_);
    void Nudge() VMS_EXCLUDES(mutex_);

    /// Queued even when the queue is full: there is at most one per request, and requests are
    /// bounded. The caller comes to DeliverHere or LeaveToThread next.
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

    /// A delivery with the callback it goes to; both are null when that was cancelled meanwhile.
    struct Job {
        Delivery delivery;
        PendingRequests::CallbacksPtr request;
        CallbackPtr subscription;
    };

    void Push(Delivery delivery, Wake wake) VMS_REQUIRES(mutex_);
    void WakeThread() VMS_REQUIRES(mutex_);
    bool IsFull() const VMS_REQUIRES(mutex_) { return queue_.size() >= maxWaiting_; }
    void ReportFull(const char* what);
    bool EnsureThread() VMS_REQUIRES(mutex_);
    void WaitUntilNotRunning(int64_t key) VMS_REQUIRES(mutex_);

    // How deliveries are made: DeliveryLoop.cpp.
    void Loop() VMS_EXCLUDES(mutex_);
    void Sleep() VMS_REQUIRES(mutex_);
    void ArmDoorbell() VMS_REQUIRES(mutex_);
    void DisarmDoorbell() VMS_REQUIRES(mutex_);
    void DestroyExpired() VMS_REQUIRES(mutex_);
    void DeliverFront() VMS_REQUIRES(mutex_);
    Job TakeFront() VMS_REQUIRES(mutex_);
    void Execute(Job job) noexcept;

    const size_t maxWaiting_;
    const Clock clock_;
    BusLog& log_;
    std::atomic<bool> fullReported_{false};  ///< until the queue has been empty again

    Mutex mutex_;
    CondVar callbackEnded_;
    CondVar nudged_;
    PendingRequests pending_ VMS_GUARDED_BY(mutex_);
    std::map<int64_t, Subscription> subscriptions_ VMS_GUARDED_BY(mutex_);
    int64_t lastToken_ VMS_GUARDED_BY(mutex_) = 0;
    std::deque<Delivery> queue_ VMS_GUARDED_BY(mutex_);
    /// Keys of the running callbacks, the innermost last: more than one only while those before it
    /// are inside DeliverUntil. Serials start at 2^32, so tokens stay apart from them.
    std::vector<int64_t> running_ VMS_GUARDED_BY(mutex_);
    bool delivering_ VMS_GUARDED_BY(mutex_) = false;  ///< one thread at a time
    bool waitingInCallback_ VMS_GUARDED_BY(mutex_) = false;
    size_t waitingForCallback_ VMS_GUARDED_BY(mutex_) = 0;
    bool sleeping_ VMS_GUARDED_BY(mutex_) = false;  ///< the thread, and nobody has rung yet
    bool armed_ VMS_GUARDED_BY(mutex_) = false;     ///< the doorbell rings within kMidHandlerDelay
    std::chrono::steady_clock::time_point lastArmed_ VMS_GUARDED_BY(mutex_);  ///< or wanted so
    bool leaveArmed_ VMS_GUARDED_BY(mutex_) = false;  ///< answers come so fast that it would cost
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;
    CommandBusStats stats_ VMS_GUARDED_BY(mutex_);
    std::unique_ptr<Doorbell> doorbell_ VMS_GUARDED_BY(mutex_);  ///< stays once there is a thread
    std::thread thread_ VMS_GUARDED_BY(mutex_);                  ///< started when first needed
};

}  // namespace vms
