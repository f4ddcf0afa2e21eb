#pragma once

#include <json/value.h>

#include "host/config/ConfigNode.h"

namespace vms::host {

/// Checks a device description: {"id", "name", "uctype", "devtype", "ptype", "channelnum",
/// "status", "ip", "port", "httpPort", "username", "password", "streamType", "connectType", "p2p",
/// "enable", "httpsEnable"}, of which only "id" must be there. @return the description as it stands
/// @throws HostError as ConfigNode has it
Json::Value ReadDeviceDescription(const ConfigNode& node);

}  // namespace vms::host
