#pragma once

#include <string>

#include "sim/httpdevice/api/ApiCall.h"
#include "sim/net/HttpMessage.h"

namespace vms::sim::httpdevice {

/// What a client sent over HTTP.
struct DeviceRequest {
    std::string method;
    std::string target;
    std::string cookie;  ///< header fields; "" = absent
    std::string apiSession;
    std::string body;
    bool keepAlive = false;
};

/// The answer of the device in bytes and pacing, its faults included. Does not block, does not
/// throw. Safe from several threads.
WireAnswer Handle(Device& device, const DeviceRequest& request);

/// {"code": N, "data": ...} on one line.
std::string Envelope(const ApiAnswer& answer);

}  // namespace vms::sim::httpdevice
