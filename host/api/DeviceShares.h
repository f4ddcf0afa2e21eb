#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "platform/Mutex.h"

namespace vms::host {

/// How many requests may wait for modules, in all and for one device: a device that does not answer
/// uses up its own share only. Thread-safe.
class DeviceShares : public std::enable_shared_from_this<DeviceShares> {
public:
    struct Limits {
        std::size_t requests = 256;
        std::size_t requestsOfDevice = 16;
        std::size_t bytesOfDevice = std::size_t{8} << 20;  ///< of their bodies
    };

    explicit DeviceShares(const Limits& limits) : limits_(limits) {}

    /// @param device  whatever names it @param bytes that its request keeps
    /// @param problem set to what is used up, if something is
    /// @return what gives the request's part back when it is destroyed; null = there is none
    std::shared_ptr<void> Take(const std::string& device, std::size_t bytes, std::string& problem)
        VMS_EXCLUDES(mutex_);

private:
    struct Part;
    struct Share {
        std::size_t requests = 0;
        std::size_t bytes = 0;
    };

    void GiveBack(const std::string& device, std::size_t bytes) VMS_EXCLUDES(mutex_);

    const Limits limits_;
    Mutex mutex_;
    std::size_t requests_ VMS_GUARDED_BY(mutex_) = 0;
    std::map<std::string, Share> byDevice_ VMS_GUARDED_BY(mutex_);  ///< those with requests
};

}  // namespace vms::host
