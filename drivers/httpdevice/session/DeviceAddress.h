#pragma once

#include <functional>
#include <string>

#include "module/DeviceRecords.h"

namespace vms::httpdevice {

/// Where a device is and who logs in. A value; constant after construction.
class DeviceAddress {
public:
    explicit DeviceAddress(const __tagTvVideoParam& device);

    /// The description with every port filled in: what WebSocket sources are made from.
    const __tagTvVideoParam& Description() const { return device_; }
    /// The same for the event channel, which is never secure: a device that is spoken to over TLS
    /// has it on its "httpPort".
    __tagTvVideoParam EventDescription() const;

    const std::string& User() const { return device_.username; }
    const std::string& Password() const { return device_.password; }

    /// "id (address:port)", for the log.
    const std::string& Label() const { return label_; }

    /// The URL of an endpoint. @param builder one of Tavero_Http_Encode
    std::string Url(std::string (*builder)(const char* ip, int port, bool https)) const;
    /// The same for builders that know http only: a device that is spoken to over TLS gets these
    /// requests over TLS, too.
    std::string Url(std::string (*builder)(const char* ip, int port)) const;
    /// The URL of a path of the device's API, which begins with a slash.
    std::string UrlOfPath(const std::string& path) const;

private:
    __tagTvVideoParam device_;
    std::string host_;  ///< as URLs have it
    std::string label_;
};

}  // namespace vms::httpdevice
