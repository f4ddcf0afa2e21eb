#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "host/modules/BusClient.h"
#include "platform/Mutex.h"

namespace vms::host {

class AsyncWait;

/// The requests whose answers are waited for by no thread, and the one thread that ends those whose
/// time has run out. Thread-safe.
class AsyncWaits : public std::enable_shared_from_this<AsyncWaits> {
public:
    using TimePoint = BusClient::Clock::time_point;

    AsyncWaits() = default;
    ~AsyncWaits();
    AsyncWaits(const AsyncWaits&) = delete;
    AsyncWaits& operator=(const AsyncWaits&) = delete;

    /// @return false once interrupted. @throws std::system_error when there can be no thread
    bool Add(const std::shared_ptr<AsyncWait>& wait, TimePoint deadline) VMS_EXCLUDES(mutex_);
    /// Of one that is still there.
    void SetDeadline(AsyncWait& wait, TimePoint deadline) VMS_EXCLUDES(mutex_);
    void Remove(AsyncWait& wait) VMS_EXCLUDES(mutex_);

    /// Ends all, and whatever is added later.
    void Interrupt() VMS_EXCLUDES(mutex_);
    /// The same, and the thread. Not on it.
    void Stop() VMS_EXCLUDES(mutex_);

private:
    struct Entry {
        std::shared_ptr<AsyncWait> wait;
        TimePoint deadline;
    };

    void Run() VMS_EXCLUDES(mutex_);
    std::shared_ptr<AsyncWait> NextDue() VMS_EXCLUDES(mutex_);

    Mutex mutex_;
    CondVar changed_;
    std::map<AsyncWait*, Entry> waits_ VMS_GUARDED_BY(mutex_);
    std::set<std::pair<TimePoint, AsyncWait*>> byDeadline_ VMS_GUARDED_BY(mutex_);
    bool interrupted_ VMS_GUARDED_BY(mutex_) = false;
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_ VMS_GUARDED_BY(mutex_);  ///< from the first wait on
};

/// One request that nobody's thread waits for: hands its answers on until it ends, once, by the
/// last of them, an exception, its deadline or an interrupt. Thread-safe.
class AsyncWait : public std::enable_shared_from_this<AsyncWait> {
public:
    using TimePoint = AsyncWaits::TimePoint;

    /// How long answers are waited for.
    struct Patience {
        bool forPages = false;        ///< an open page is not the last answer
        BusClient::Duration silence;  ///< longest wait for the next one
        TimePoint end;                ///< in any case
    };

    AsyncWait(ICommandBus& bus, std::weak_ptr<AsyncWaits> waits, const Patience& patience,
              BusClient::AsyncSinks sinks)
        : bus_(bus), waits_(std::move(waits)), patience_(patience), sinks_(std::move(sinks)) {}

    /// Posts the request; one that is refused has ended.
    void Post(const BusRequest& request) VMS_EXCLUDES(mutex_);

    /// Ends it; the asker is told. Does nothing after the end.
    void End(const Answer& answer) VMS_EXCLUDES(mutex_);
    /// Ends it; the asker is told nothing more, but what is being told now.
    void Cancel() VMS_EXCLUDES(mutex_);

    TimePoint NextDeadline() const;

private:
    void Put(const Answer& answer) VMS_EXCLUDES(mutex_);
    void WaitOn(const Answer& answer) VMS_EXCLUDES(mutex_);
    void HandlerEnded(bool threw) VMS_EXCLUDES(mutex_);
    bool EndWith(BusClient::AsyncSinks& sinks) VMS_EXCLUDES(mutex_);
    void ForgetIfThrough() VMS_EXCLUDES(mutex_);

    ICommandBus& bus_;
    const std::weak_ptr<AsyncWaits> waits_;
    const Patience patience_;
    Mutex mutex_;
    BusClient::AsyncSinks sinks_ VMS_GUARDED_BY(mutex_);
    int64_t serial_ VMS_GUARDED_BY(mutex_) = 0;  ///< 0 = not posted yet, or forgotten by the bus
    bool ended_ VMS_GUARDED_BY(mutex_) = false;
    bool handled_ VMS_GUARDED_BY(mutex_) = false;  ///< the module's handler has returned
};

}  // namespace vms::host
