#include "drivers/httpdevice/device/DeviceProfile.h"

#include <json/value.h>

#include <algorithm>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/httpdevice/device/AnswerData.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;

constexpr const char* kGet = R"({"action":"get"})";
constexpr int kMaxChannels = 1024;

bool ReadPlatform(const std::string& answer, DeviceProfile& profile) {
    Json::Value data;
    if (!ReadData(answer, data) || !data.isObject())
        return false;
    std::string platform;
    int permissionVersion = 0;
    ReadString(data, "deviceType", profile.type);
    ReadString(data, "platform", platform);
    profile.channels = 0;
    ReadInt(data, "channelNum", profile.channels);
    ReadInt(data, "permissionVersion", permissionVersion);
    profile.recorder = profile.type == "NVR";
    profile.version6 = platform == "V6";
    profile.rightsV2 = permissionVersion == 2 || (permissionVersion == 0 && profile.version6);
    profile.channelsTold = profile.channels >= 1 && profile.channels <= kMaxChannels;
    profile.channels = std::clamp(profile.channels, 1, kMaxChannels);
    return true;
}

/// Reads a boolean into a flag of 0 or 1.
void ReadFlag(const Json::Value& object, const char* key, int32_t& out) {
    bool flag = false;
    if (ReadBool(object, key, flag))
        out = flag ? 1 : 0;
}

void ReadFirstPlatform(const Json::Value& data, DeviceProfile& profile) {
    int seek = 0;
    ReadInt(data, "supportThirdStream", profile.capability.supportThirdStream);
    ReadInt(data, "supportTiming", profile.capability.supportTiming);
    ReadInt(data, "poeNum", profile.capability.poeNum);
    ReadInt(data, "supportSyncPlayback", profile.capability.supportSyncPlayback);
    ReadInt(data, "supportPtz", profile.ptz.supportPtz);
    ReadInt(data, "supportOperture", profile.ptz.supportOperture);
    ReadInt(data, "supportOnekeyFocus", profile.ptz.supportOnekeyFocus);
    ReadInt(data, "supportLenInit", profile.ptz.supportLenInit);
    ReadInt(data, "supportPosition3D", profile.ptz.supportPosition3D);
    ReadInt(data, "talkEncode", profile.talkEncode);
    ReadInt(data, "supportSeek", seek);
    profile.seek = seek != 0;
}

void ReadNewerPlatform(const Json::Value& data, DeviceProfile& profile) {
    int streams = 0;
    ReadInt(Member(data, "video"), "streams", streams);
    profile.capability.supportThirdStream = streams >= 3 ? 1 : 0;
    profile.capability.version6_0 = 1;
    const Json::Value& system = Member(data, "system");
    ReadFlag(system, "timing", profile.capability.supportTiming);
    ReadInt(Member(system, "poe"), "ports", profile.capability.poeNum);
    const Json::Value& playback = Member(data, "playback");
    ReadFlag(playback, "sync", profile.capability.supportSyncPlayback);
    ReadBool(playback, "seek", profile.seek);
    const Json::Value& ptz = Member(data, "ptz");
    ReadFlag(ptz, "support", profile.ptz.supportPtz);
    ReadFlag(ptz, "aperture", profile.ptz.supportOperture);
    ReadFlag(ptz, "oneKeyFocus", profile.ptz.supportOnekeyFocus);
    ReadFlag(ptz, "lensInit", profile.ptz.supportLenInit);
    ReadFlag(ptz, "position3D", profile.ptz.supportPosition3D);
    ReadInt(Member(data, "audio"), "talkEncode", profile.talkEncode);
}

bool ReadCapabilities(const std::string& answer, DeviceProfile& profile) {
    Json::Value data;
    if (!ReadData(answer, data) || !data.isObject())
        return false;
    if (profile.version6)
        ReadNewerPlatform(data, profile);
    else
        ReadFirstPlatform(data, profile);
    return true;
}

}  // namespace

std::shared_ptr<const DeviceProfile> AskProfile(DeviceConnection& device) {
    auto profile = std::make_shared<DeviceProfile>();
    const DeviceAddress& address = device.Address();
    const bool known =
        device.Call(address.Url(&Api::GetUrlDeviceCapabilities_Ipc_Type), kGet,
                    [&](const std::string& answer) { return ReadPlatform(answer, *profile); });
    if (!known)
        return nullptr;
    const auto url = profile->version6 ? &Api::GetUrlDeviceCapabilities_Ipc_Ver6
                                       : &Api::GetUrlDeviceCapabilities_Ipc_Ver1;
    const bool complete = device.Call(address.Url(url), kGet, [&](const std::string& answer) {
        return ReadCapabilities(answer, *profile);
    });
    return complete ? profile : nullptr;
}

}  // namespace vms::httpdevice
