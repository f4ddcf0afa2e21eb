#include "host/config/DeviceDescription.h"

#include <limits>

namespace vms::host {
namespace {

constexpr int kAnyLowest = std::numeric_limits<int>::min();
constexpr int kAnyHighest = std::numeric_limits<int>::max();
constexpr int kHighestPort = 65535;

}  // namespace

Json::Value ReadDeviceDescription(const ConfigNode& node) {
    node.RequireKnown({"id", "name", "uctype", "devtype", "ptype", "channelnum", "status", "ip",
                       "port", "httpPort", "username", "password", "streamType", "connectType",
                       "p2p", "enable", "httpsEnable"});
    for (const char* key : {"name", "uctype", "ip", "username", "password"})
        node.TextOr(key, "");
    for (const char* key :
         {"devtype", "ptype", "channelnum", "status", "streamType", "connectType", "enable"})
        node.IntegerOr(key, 0, kAnyLowest, kAnyHighest);
    for (const char* key : {"port", "httpPort"})
        node.IntegerOr(key, 0, 0, kHighestPort);
    for (const char* key : {"p2p", "httpsEnable"})
        node.BooleanOr(key, false);
    node.NonEmptyText("id");
    return node.Value();
}

}  // namespace vms::host
