#include "module/TestDevice.h"

#include "platform/Json.h"

namespace vms {

bool ReadTestDevice(const std::string& body, __tagTvVideoParam& device) {
    Json::Value root;
    if (!ParseJson(body.c_str(), root))
        return false;
    const Json::Value& description = FirstElement(root);
    ReadString(description, "ip", device.ip);
    ReadInt(description, "port", device.port);
    ReadString(description, "username", device.username);
    ReadString(description, "password", device.password);
    ReadBool(description, "httpsEnable", device.httpsEnable);
    return true;
}

}  // namespace vms
