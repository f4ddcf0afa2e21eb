#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "module/DeviceRecords.h"
#include "tests/support/ChildProcess.h"

namespace vms::httpdevice {

/// `devsim httpdevice` with ephemeral ports, and the door through which tests look into it.
class HttpDevsim {
public:
    /// @param options further command line options. @throws std::runtime_error if it does not start
    explicit HttpDevsim(const std::vector<std::string>& options);

    size_t Count() const { return devices_.size(); }
    /// How a host would describe the device. @param https speak to it over TLS
    __tagTvVideoParam Device(size_t index, bool https = false) const;

    Json::Value State(size_t index) const;
    void SetFault(size_t index, const std::string& fault) const;
    void ClearFaults(size_t index) const;
    /// Cuts every connection of the device.
    void Drop(size_t index) const;
    /// Ends every session of the device.
    void Expire(size_t index) const;
    /// What has been said through the speaker of a channel.
    std::string Talk(size_t index, int channel) const;

private:
    std::string Control(size_t index, const std::string& what, const std::string* body) const;

    test::ChildProcess process_;
    std::vector<Json::Value> devices_;
    std::string control_;
};

}  // namespace vms::httpdevice
