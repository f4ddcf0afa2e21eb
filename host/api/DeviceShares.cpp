#include "host/api/DeviceShares.h"

namespace vms::host {

/// One request's part of its device's share.
struct DeviceShares::Part {
    ~Part() {
        if (shares != nullptr)
            shares->GiveBack(device, bytes);
    }

    std::shared_ptr<DeviceShares> shares;  ///< null = nothing has been granted
    std::string device;
    std::size_t bytes = 0;
};

std::shared_ptr<void> DeviceShares::Take(const std::string& device, std::size_t bytes,
                                         std::string& problem) {
    const auto part = std::make_shared<Part>();
    part->device = device;
    part->bytes = bytes;
    MutexLock lock(mutex_);
    if (requests_ >= limits_.requests) {
        problem = "too many requests are waiting";
        return nullptr;
    }
    Share& used = byDevice_[device];
    if (used.requests >= limits_.requestsOfDevice || used.bytes + bytes > limits_.bytesOfDevice) {
        if (used.requests == 0)
            byDevice_.erase(device);
        problem = "too many requests are waiting for this device";
        return nullptr;
    }
    ++requests_;
    ++used.requests;
    used.bytes += bytes;
    part->shares = shared_from_this();
    return part;
}

void DeviceShares::GiveBack(const std::string& device, std::size_t bytes) {
    MutexLock lock(mutex_);
    --requests_;
    const auto share = byDevice_.find(device);
    share->second.bytes -= bytes;
    if (--share->second.requests == 0)
        byDevice_.erase(share);
}

}  // namespace vms::host
