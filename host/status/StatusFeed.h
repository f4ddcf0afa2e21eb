#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "host/process/EventCount.h"
#include "module/ICommandBus.h"
#include "platform/Mutex.h"

namespace vms::host {

/// A status report of a module as it came over the bus.
struct StatusReport {
    std::string module;  ///< name of the sender
    std::string body;    ///< {"devs": [{"id", "status": [{"channel", "state"}]}]}
};

/// Collects the modules' status reports for a thread that polls. Thread-safe.
class StatusFeed {
public:
    static constexpr size_t kKept = 1024;  ///< reports; a reader that is slower loses the oldest

    /// Subscribes at once. @param bus must outlive this object @throws HostError
    explicit StatusFeed(ICommandBus& bus);
    ~StatusFeed();
    StatusFeed(const StatusFeed&) = delete;
    StatusFeed& operator=(const StatusFeed&) = delete;

    /// Readable while a report is waiting.
    int Descriptor() const { return waiting_.Descriptor(); }

    /// The oldest waiting report, taken out.
    std::optional<StatusReport> Take() VMS_EXCLUDES(mutex_);

private:
    void Put(const __tagTvCommand& notification) VMS_EXCLUDES(mutex_);

    ICommandBus& bus_;
    EventCount waiting_{"wait for status reports"};
    Mutex mutex_;
    std::deque<StatusReport> reports_ VMS_GUARDED_BY(mutex_);
    const int64_t subscription_;  ///< last: its callback uses all of the above
};

}  // namespace vms::host
