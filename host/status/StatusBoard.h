#pragma once

#include <json/value.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <string>

#include "module/ICommandBus.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Keeps each module's latest status report. Thread-safe.
class StatusBoard {
public:
    /// Subscribes at once. @param bus must outlive this object @throws HostError
    explicit StatusBoard(ICommandBus& bus);
    ~StatusBoard();
    StatusBoard(const StatusBoard&) = delete;
    StatusBoard& operator=(const StatusBoard&) = delete;

    /// {"modules": [{"module", "time": seconds since the epoch, "devs": [...]}]}
    Json::Value Snapshot() const VMS_EXCLUDES(mutex_);

private:
    struct Report {
        std::time_t time = 0;
        Json::Value devices{Json::arrayValue};
    };

    void Put(const __tagTvCommand& notification) VMS_EXCLUDES(mutex_);

    ICommandBus& bus_;
    mutable Mutex mutex_;
    std::map<std::string, Report> reports_ VMS_GUARDED_BY(mutex_);  ///< by module
    const int64_t subscription_;  ///< last: its callback uses all of the above
};

}  // namespace vms::host
