#include <algorithm>
#include <cstdio>

#include "sim/httpdevice/api/Endpoints.h"

namespace vms::sim::httpdevice {

namespace {

std::string MacAddress(size_t index) {
    char text[32];
    std::snprintf(text, sizeof text, "02:de:51:%02zx:%02zx:%02zx", index >> 16 & 0xff,
                  index >> 8 & 0xff, index & 0xff);
    return text;
}

// "channel=N"; -1 without it, nothing when it names no channel.
std::optional<int> QueryChannel(const Device& device, const std::string& query) {
    if (query.empty())
        return -1;
    int channel = -1;
    int length = 0;
    if (std::sscanf(query.c_str(), "channel=%4d%n", &channel, &length) != 1 ||
        static_cast<size_t>(length) != query.size() || !device.IsChannel(channel))
        return std::nullopt;
    return channel;
}

std::string NameOf(Device& device, int channel) {
    if (channel < 0 && device.config().recorder)
        return device.name();
    Channel& one = device.channel(std::max(0, channel));
    MutexLock lock(one.mutex);
    return one.name;
}

void Rename(Device& device, int channel, const std::string& name) {
    if (channel < 0 && device.config().recorder)
        return device.Rename(name);
    Channel& one = device.channel(std::max(0, channel));
    MutexLock lock(one.mutex);
    one.name = name;
}

// ["set", {"devName": "..."}]: the one body that is no object.
ApiAnswer SetName(Device& device, const Json::Value& body, int channel) {
    const Json::Value& data = body.size() == 2 ? body[1] : Json::Value::nullSingleton();
    if (body[0] != "set" || !Member(data, "devName").isString())
        return ResultCode::kBadBody;
    Rename(device, channel, Text(data, "devName"));
    return ResultCode::kDone;
}

}  // namespace

ApiAnswer DeviceInfo(Device& device, const ApiCall& call) {
    const auto channel = QueryChannel(device, call.query);
    if (!channel)
        return ResultCode::kBadValue;
    if (call.body.isArray())
        return SetName(device, call.body, *channel);
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    const DeviceConfig& config = device.config();
    Json::Value data(Json::objectValue);
    data["devName"] = NameOf(device, *channel);
    data["firmwareVersion"] = config.version6 ? "6.2.0.18" : "1.9.4.3";
    data["model"] =
        std::string("DS-") + (config.recorder ? "R" : "C") + std::to_string(config.channels);
    data["serialNumber"] = "DS" + std::to_string(100'000'000 + config.index);
    data["deviceType"] = config.recorder ? "NVR" : "IPC";
    data["channelNum"] = config.channels;
    data["macAddress"] = MacAddress(config.index);
    return data;
}

ApiAnswer Osd(Device& device, const ApiCall& call) {
    const auto channel = QueryChannel(device, call.query);
    if (!channel)
        return ResultCode::kBadValue;
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    Json::Value data(Json::objectValue);
    data["text"] = NameOf(device, std::max(0, *channel));
    return data;
}

}  // namespace vms::sim::httpdevice
