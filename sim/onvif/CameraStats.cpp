#include "sim/onvif/CameraStats.h"

namespace vms::sim {

namespace {

// Operation names come from clients; a flood of invented ones must not fill the memory.
constexpr size_t kMaxKeys = 256;

void Count(std::map<std::string, uint64_t>& counts, const std::string& key) {
    const auto found = counts.find(key);
    if (found != counts.end())
        ++found->second;
    else
        ++counts[counts.size() < kMaxKeys ? key.substr(0, 64) : "other"];
}

Json::Value ToObject(const std::map<std::string, uint64_t>& counts) {
    Json::Value object(Json::objectValue);
    for (const auto& [key, count] : counts)
        object[key] = Json::UInt64{count};
    return object;
}

}  // namespace

void CameraStats::CountRequest(const std::string& operation) {
    MutexLock lock(mutex_);
    Count(requests_, operation);
}

void CameraStats::CountAuthFailure(const std::string& reason) {
    MutexLock lock(mutex_);
    Count(authFailures_, reason);
}

void CameraStats::CountRtsp(const std::string& event) {
    MutexLock lock(mutex_);
    Count(rtsp_, event);
}

Json::Value CameraStats::ToJson() const {
    Json::Value out(Json::objectValue);
    out["accepted"] = Json::UInt64{connections_.accepted.load()};
    out["open"] = Json::Int64{connections_.open.load()};
    out["faults"] = Json::UInt64{faults_.load()};
    out["badRequests"] = Json::UInt64{badRequests_.load()};
    out["probes"] = Json::UInt64{probes_.load()};
    MutexLock lock(mutex_);
    out["requests"] = ToObject(requests_);
    out["authFailures"] = ToObject(authFailures_);
    out["rtsp"] = ToObject(rtsp_);
    return out;
}

}  // namespace vms::sim
