#include "sim/httpdevice/DeviceStats.h"

namespace vms::sim::httpdevice {

namespace {

// Names come from clients; a flood of invented ones must not fill the memory.
constexpr size_t kMaxKeys = 256;

}  // namespace

void DeviceStats::Count(const std::string& key) {
    MutexLock lock(mutex_);
    const auto found = counts_.find(key);
    if (found != counts_.end())
        ++found->second;
    else
        ++counts_[counts_.size() < kMaxKeys ? key.substr(0, 64) : "other"];
}

Json::Value DeviceStats::ToJson() const {
    Json::Value out(Json::objectValue);
    out["accepted"] = Json::UInt64{connections_.accepted.load()};
    out["open"] = Json::Int64{connections_.open.load()};
    out["streams"] = openStreams.load();
    out["frames"] = Json::UInt64{frames_.load()};
    MutexLock lock(mutex_);
    for (const auto& [key, count] : counts_)
        out["counts"][key] = Json::UInt64{count};
    return out;
}

}  // namespace vms::sim::httpdevice
