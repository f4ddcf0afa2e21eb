#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/state/Database.h"
#include "host/status/HostEvent.h"
#include "platform/ILogHandler.h"
#include "platform/Mutex.h"

namespace vms::host {

struct EventLimits {
    size_t kept = 100'000;            ///< events in the state
    std::chrono::hours age{24 * 30};  ///< older ones go
    size_t inMemory = 4096;           ///< events; older ones are read from the state
    size_t waiting = 10'000;          ///< events that are not written yet; beyond, lost
    size_t dataBytes = 4096;          ///< of one event; longer data is left out
};

/// An event with the text that its watchers are sent.
struct PublishedEvent {
    LoggedEvent event;
    std::string stream;  ///< as a server-sent event: "id: ...\nevent: ...\ndata: ...\n\n"
};

/// Which events are looked for.
struct EventQuery {
    int64_t from = 0;            ///< ms since the epoch
    int64_t to = INT64_MAX;      ///< exclusive
    int64_t before = INT64_MAX;  ///< identifier, exclusive
    std::string type{};          ///< "" = any
    std::string device{};        ///< "" = any
    size_t most = 100;
};

/// What has happened, in order, kept in the state with a bound. An event is shown to nobody before
/// it is on the disk, unless the disk fails: then it is shown and not kept. What comes faster than
/// it can be written is lost, and counted in an event "events-lost". Thread-safe.
class EventLog {
public:
    using Batch = std::vector<std::shared_ptr<const PublishedEvent>>;
    using Now = int64_t (*)();  ///< ms since the epoch

    /// @param database, log must outlive this object @throws HostError
    EventLog(Database& database, ILogHandler& log, const EventLimits& limits = {},
             Now now = &SystemNow);

    /// Writes what waits.
    ~EventLog();
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    /// Does not wait. Any thread.
    void Append(HostEvent event) VMS_EXCLUDES(mutex_);

    /// Identifier of the newest event that is shown, 0 = none.
    int64_t Last() const VMS_EXCLUDES(mutex_);

    /// The events that follow one, oldest first, at most so many; it may take a read of the state,
    /// so not on an I/O thread. A jump in the identifiers is what has been lost or is not kept any
    /// more.
    Batch After(int64_t id, size_t most) VMS_EXCLUDES(mutex_);

    /// Newest first. Reads the state: not on an I/O thread. @throws HostError
    std::vector<LoggedEvent> Find(const EventQuery& query);

    /// @param more called after events have come, on any thread; must not wait. Once, before the
    ///             first event; null = nobody is told any more, once this returns
    void SetListener(std::function<void()> more) VMS_EXCLUDES(listenerMutex_);

    static int64_t SystemNow();

private:
    void WriteWaiting() VMS_EXCLUDES(mutex_);
    void Show(const Batch& batch, const std::string& problem) VMS_EXCLUDES(mutex_);
    std::shared_ptr<const PublishedEvent> Make(HostEvent event) VMS_REQUIRES(mutex_);
    Batch Older(int64_t id, size_t most);

    Database& database_;
    ILogHandler& log_;
    const EventLimits limits_;
    const Now now_;

    mutable Mutex mutex_;
    CondVar idle_;
    int64_t lastId_ VMS_GUARDED_BY(mutex_) = 0;  ///< given to an event, written or not
    int64_t shown_ VMS_GUARDED_BY(mutex_) = 0;
    uint64_t lost_ VMS_GUARDED_BY(mutex_) = 0;
    Batch waiting_ VMS_GUARDED_BY(mutex_);
    bool writing_ VMS_GUARDED_BY(mutex_) = false;  ///< whoever set it writes all that comes
    bool failing_ VMS_GUARDED_BY(mutex_) = false;  ///< the last write failed
    std::deque<std::shared_ptr<const PublishedEvent>> newest_ VMS_GUARDED_BY(mutex_);

    Mutex listenerMutex_;
    std::function<void()> listener_ VMS_GUARDED_BY(listenerMutex_);
};

}  // namespace vms::host
