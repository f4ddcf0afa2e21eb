#include <ctime>

#include "sim/httpdevice/api/Endpoints.h"

namespace vms::sim::httpdevice {

namespace {

constexpr int64_t kLastSecond = 4'102'444'800;  // the year 2100

const char* KindOf(const Device& device) {
    return device.config().recorder ? "NVR" : "IPC";
}

std::string LocalTime(int64_t seconds) {
    const auto time = static_cast<time_t>(seconds);
    std::tm parts{};
    gmtime_r(&time, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

// The bits that a full account has: each of the four rights of a channel.
std::string ChannelRights(const Device& device) {
    return device.config().version6 ? std::to_string(0xf0000) : std::to_string(2 + 8 + 32 + 128);
}

}  // namespace

ApiAnswer PlatformCapabilities(Device& device, const ApiCall& call) {
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    const bool version6 = device.config().version6;
    Json::Value data(Json::objectValue);
    data["deviceType"] = KindOf(device);
    data["platform"] = version6 ? "V6" : "V1";
    data["permissionVersion"] = version6 ? 2 : 1;
    data["channelNum"] = device.config().channels;
    data["loginType"] = NameOf(device.config().login);
    return data;
}

ApiAnswer CapabilitiesV1(Device& device, const ApiCall& call) {
    if (device.config().version6)
        return ResultCode::kNotSupported;
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    Json::Value data(Json::objectValue);
    data["supportThirdStream"] = device.StreamCount() > 2 ? 1 : 0;
    data["poeNum"] = device.config().poePorts;
    data["supportTiming"] = data["supportPtz"] = data["supportOperture"] = 1;
    data["supportOnekeyFocus"] = data["supportLenInit"] = 1;
    data["supportPosition3D"] = 0;
    data["supportSyncPlayback"] = device.config().recorder ? 1 : 0;
    data["supportSeek"] = 1;
    data["talkEncode"] = TalkCode(device.config().audio);
    return data;
}

ApiAnswer CapabilitiesV6(Device& device, const ApiCall& call) {
    if (!device.config().version6)
        return ResultCode::kNotSupported;
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    Json::Value data(Json::objectValue);
    data["video"]["streams"] = device.StreamCount();
    data["system"]["timing"] = true;
    if (device.config().poePorts >= 0)
        data["system"]["poe"]["ports"] = device.config().poePorts;
    for (const char* ability : {"support", "aperture", "oneKeyFocus", "lensInit"})
        data["ptz"][ability] = true;
    data["ptz"]["position3D"] = false;
    data["playback"]["sync"] = device.config().recorder;
    data["playback"]["seek"] = true;
    data["audio"]["talkEncode"] = TalkCode(device.config().audio);
    return data;
}

ApiAnswer SystemTime(Device& device, const ApiCall& call) {
    if (call.IsGet()) {
        const int zone = device.timeZoneMinutes;
        Json::Value data(Json::objectValue);
        data["utcTime"] = Json::Int64{device.UtcNow()};
        data["localTime"] = LocalTime(device.UtcNow() + zone * 60);
        data["timeZone"] = zone;
        data["dst"] = false;
        return data;
    }
    if (!call.IsSet())
        return ResultCode::kUnknownAction;
    const auto time = Number(call.data(), "utcTime", 0, kLastSecond);
    const auto zone = Number(call.data(), "timeZone", -14 * 60, 14 * 60, device.timeZoneMinutes);
    if (!time || !zone)
        return ResultCode::kBadValue;
    device.SetUtc(*time);
    device.timeZoneMinutes = static_cast<int>(*zone);
    return ResultCode::kDone;
}

ApiAnswer UserManager(Device& device, const ApiCall& call) {
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    Json::Value data(Json::objectValue);
    data["username"] = device.config().user;
    data["remotePermission"] = "255";
    data["channelPermission"] = Json::arrayValue;
    for (int i = 0; i < device.config().channels; ++i) {
        Json::Value entry(Json::objectValue);
        entry["channel"] = i;
        entry["permission"] = ChannelRights(device);
        data["channelPermission"].append(entry);
    }
    return data;
}

}  // namespace vms::sim::httpdevice
