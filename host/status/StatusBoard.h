#pragma once

#include <json/value.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <string>

#include "host/status/EventLog.h"
#include "module/ICommandBus.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Keeps each module's latest status report, and since when each device is up or down. A change is
/// an event: "device-up", "device-down", and "status" when only channels have changed. Thread-safe.
class StatusBoard {
public:
    /// Subscribes at once. @param bus must outlive this object, @param events too; null = nobody is
    /// told of changes @throws HostError
    explicit StatusBoard(ICommandBus& bus, EventLog* events = nullptr);
    ~StatusBoard();
    StatusBoard(const StatusBoard&) = delete;
    StatusBoard& operator=(const StatusBoard&) = delete;

    /// {"modules": [{"module", "time": seconds since the epoch, "devs": [...]}],
    ///  "devices": [{"device", "module", "state": "up" or "down", "since", "channels": [{"channel",
    ///  "state"}]}]}
    Json::Value Snapshot() const VMS_EXCLUDES(mutex_);

private:
    struct Report {
        std::time_t time = 0;
        Json::Value devices{Json::arrayValue};
    };

    struct DeviceState {
        bool isUp = false;
        std::time_t since = 0;
        std::map<int, bool> channels;  ///< from 0: whether it is up
    };

    using DeviceStates = std::map<std::string, DeviceState>;

    void Put(const __tagTvCommand& notification) VMS_EXCLUDES(mutex_);
    static DeviceState ReadState(const Json::Value& device);
    void Update(const std::string& module, const Json::Value& devices, std::time_t now)
        VMS_REQUIRES(mutex_);
    void Tell(const std::string& id, const std::string& module, const DeviceState& state,
              const DeviceState* before) const;

    ICommandBus& bus_;
    EventLog* const events_;
    mutable Mutex mutex_;
    std::map<std::string, Report> reports_ VMS_GUARDED_BY(mutex_);        ///< by module
    std::map<std::string, DeviceStates> devices_ VMS_GUARDED_BY(mutex_);  ///< by module
    const int64_t subscription_;  ///< last: its callback uses all of the above
};

}  // namespace vms::host
