#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "platform/Mutex.h"

namespace vms::host {

/// How many requests may wait for modules, in all and for one device: a device that does not answer
/// uses up its own share only. What their bodies take once a module has read them is bounded too.
/// Thread-safe.
class DeviceShares : public std::enable_shared_from_this<DeviceShares> {
public:
    struct Limits {
        size_t requests = 256;
        size_t requestsOfDevice = 16;
        size_t bytesOfDevice = size_t{8} << 20;  ///< of their bodies
        size_t values = 200'000;  ///< of JSON, in the bodies of all of them that are not small
    };

    /// JSON values that a request may have without counting: whoever uses the bound up keeps nobody
    /// from small requests.
    static constexpr size_t kSmall = 1000;

    /// What a request keeps.
    struct Cost {
        size_t bytes = 0;
        size_t values = 0;  ///< of JSON in its body
    };

    explicit DeviceShares(const Limits& limits) : limits_(limits) {}

    /// @param device  whatever names it
    /// @param problem set to what is used up, if something is
    /// @return what gives the request's part back when it is destroyed; null = there is none
    std::shared_ptr<void> Take(const std::string& device, const Cost& cost, std::string& problem)
        VMS_EXCLUDES(mutex_);

private:
    struct Part;
    struct Share {
        size_t requests = 0;
        size_t bytes = 0;
    };

    const char* Refusal(const Share& used, const Cost& cost) const VMS_REQUIRES(mutex_);
    void GiveBack(const std::string& device, const Cost& cost) VMS_EXCLUDES(mutex_);

    const Limits limits_;
    Mutex mutex_;
    size_t requests_ VMS_GUARDED_BY(mutex_) = 0;
    size_t values_ VMS_GUARDED_BY(mutex_) = 0;
    std::map<std::string, Share> byDevice_ VMS_GUARDED_BY(mutex_);  ///< those with requests
};

}  // namespace vms::host
