#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include <json/value.h>

#include "platform/Mutex.h"
#include "sim/net/ConnectionCounters.h"

namespace vms::sim {

/// What a camera was asked and how it went. Safe from several threads.
class CameraStats {
public:
    void CountRequest(const std::string& operation) VMS_EXCLUDES(mutex_);
    void CountAuthFailure(const std::string& reason) VMS_EXCLUDES(mutex_);
    void CountFault() { ++faults_; }
    void CountBadRequest() { ++badRequests_; }
    void CountProbe() { ++probes_; }
    void CountRtsp(const std::string& event) VMS_EXCLUDES(mutex_);

    ConnectionCounters& connections() { return connections_; }

    Json::Value ToJson() const VMS_EXCLUDES(mutex_);

private:
    using Counts = std::map<std::string, uint64_t>;

    std::atomic<uint64_t> faults_{0};
    std::atomic<uint64_t> badRequests_{0};
    std::atomic<uint64_t> probes_{0};
    ConnectionCounters connections_;

    mutable Mutex mutex_;
    Counts requests_ VMS_GUARDED_BY(mutex_);
    Counts authFailures_ VMS_GUARDED_BY(mutex_);
    Counts rtsp_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::sim
