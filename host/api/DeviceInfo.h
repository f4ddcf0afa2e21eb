#pragma once

#include <memory>
#include <string>

#include "host/api/DeviceAsker.h"
#include "host/http/HttpExchange.h"

namespace vms::host {

/// Serves /api/devices/ID/WHAT: GET capability, permission and connection, GET and PUT time (PUT
/// sets the device's clock by the host's) and channels (PUT names them). @throws ApiError
void ServeDeviceInfo(DeviceAsker& asker, const std::string& device, const std::string& what,
                     const HttpRequest& request, const std::shared_ptr<HttpReply>& reply);

}  // namespace vms::host
