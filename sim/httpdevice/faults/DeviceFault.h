#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Mutex.h"

namespace vms::sim::httpdevice {

/// Ways in which a simulated device misbehaves.
enum class DeviceFault {
    // Connections.
    kRefused,
    kHalfOpen,
    // Login.
    kLoginRefused,
    kKeyRefused,
    kIterations,
    kSessionExpired,
    kCookieOnly,
    kApiSessionOnly,
    // Answers over HTTP.
    kSilent,
    kDelay,
    kSlow,
    kGarbage,
    kTruncatedJson,
    kWrongTypes,
    kEmptyBody,
    kCode,
    kHttp500,
    kHttpStatus,
    kDropBefore,
    kDropInside,
    kDeepJson,
    kHugeBody,
    kManyItems,
    kEndlessList,
    // WebSocket.
    kWsRefused,
    kWsSilent,
    kWsDrop,
    kWsStall,
    kFrame36,
    kFrame37,
    kBadHeader,
    kBadTimes,
    kMalformed,
    kHugeMessage,
    kHugeText,
    kSameToken,
    kFlood,
    kEventsDrop,
    kBadSignature,
    kShortEvents,
};

struct DeviceFaultInfo {
    DeviceFault fault;
    const char* name;
    const char* defaultValue;  ///< a number, or "" = takes no value
    const char* help;
};

const std::vector<DeviceFaultInfo>& DeviceFaultCatalogue();

struct DeviceFaultRule {
    DeviceFault fault;
    std::string endpoint;  ///< last part of the path, "" = any
    long long value = 0;
};

/// Reads NAME[@ENDPOINT][=NUMBER].
/// @throws std::invalid_argument with a text for the user
DeviceFaultRule ParseDeviceFault(std::string_view text);
std::string Describe(const DeviceFaultRule& rule);

/// The faults of one device, which may change while it runs. Safe from several threads.
class FaultBoard {
public:
    /// A rule for the same fault and endpoint replaces the earlier one.
    void Add(const DeviceFaultRule& rule) VMS_EXCLUDES(mutex_);
    void Remove(const DeviceFaultRule& rule) VMS_EXCLUDES(mutex_);
    void Clear() VMS_EXCLUDES(mutex_);

    /// A rule for the endpoint wins over a general one.
    std::optional<long long> Find(DeviceFault fault, std::string_view endpoint = {}) const
        VMS_EXCLUDES(mutex_);
    bool Has(DeviceFault fault, std::string_view endpoint = {}) const {
        return Find(fault, endpoint).has_value();
    }
    /// For faults that strike so many times: takes one off. @return false when none is left
    bool TakeOne(DeviceFault fault) VMS_EXCLUDES(mutex_);
    std::vector<std::string> Describe() const VMS_EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    std::vector<DeviceFaultRule> rules_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::sim::httpdevice
