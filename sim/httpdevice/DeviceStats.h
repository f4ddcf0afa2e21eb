#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include <json/value.h>

#include "platform/Mutex.h"
#include "sim/net/ConnectionCounters.h"

namespace vms::sim::httpdevice {

/// What a device was asked and sent. Safe from several threads.
class DeviceStats {
public:
    /// @param key an endpoint, "ws:ACTION" or "code:N"
    void Count(const std::string& key) VMS_EXCLUDES(mutex_);
    void CountFrame() { ++frames_; }

    ConnectionCounters& connections() { return connections_; }
    Json::Value ToJson() const VMS_EXCLUDES(mutex_);

    std::atomic<int> openStreams{0};

private:
    std::atomic<uint64_t> frames_{0};
    ConnectionCounters connections_;

    mutable Mutex mutex_;
    std::map<std::string, uint64_t> counts_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::sim::httpdevice
