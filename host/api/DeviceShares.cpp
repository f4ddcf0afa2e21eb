#include "host/api/DeviceShares.h"

namespace vms::host {

/// One request's part of its device's share.
struct DeviceShares::Part {
    ~Part() {
        if (shares != nullptr)
            shares->GiveBack(device, cost);
    }

    std::shared_ptr<DeviceShares> shares;  ///< null = nothing has been granted
    std::string device;
    Cost cost;
};

/// @return what is used up; null = nothing
const char* DeviceShares::Refusal(const Share& used, const Cost& cost) const {
    if (requests_ >= limits_.requests)
        return "too many requests are waiting";
    if (cost.values > 0 && values_ + cost.values > limits_.values)
        return "too many long requests are waiting";
    if (used.requests >= limits_.requestsOfDevice ||
        used.bytes + cost.bytes > limits_.bytesOfDevice)
        return "too many requests are waiting for this device";
    return nullptr;
}

std::shared_ptr<void> DeviceShares::Take(const std::string& device, const Cost& cost,
                                         std::string& problem) {
    const auto part = std::make_shared<Part>();
    part->device = device;
    part->cost = {cost.bytes, cost.values > kSmall ? cost.values : 0};
    MutexLock lock(mutex_);
    const auto known = byDevice_.find(device);
    const char* const refusal =
        Refusal(known == byDevice_.end() ? Share{} : known->second, part->cost);
    if (refusal != nullptr) {
        problem = refusal;
        return nullptr;
    }
    Share& used = byDevice_[device];
    ++requests_;
    ++used.requests;
    used.bytes += part->cost.bytes;
    values_ += part->cost.values;
    part->shares = shared_from_this();
    return part;
}

void DeviceShares::GiveBack(const std::string& device, const Cost& cost) {
    MutexLock lock(mutex_);
    --requests_;
    values_ -= cost.values;
    const auto share = byDevice_.find(device);
    share->second.bytes -= cost.bytes;
    if (--share->second.requests == 0)
        byDevice_.erase(share);
}

}  // namespace vms::host
