#include <utility>

#include "platform/Json.h"
#include "platform/VideoCommandHelper.h"

using vms::Member;
using vms::ParseJson;
using vms::ReadBool;
using vms::ReadInt;
using vms::ReadInt16;
using vms::ReadString;

namespace {

/// Calls `visit` with each element of an array, or with the value itself when it is none.
template <class Visit>
void ForEach(const Json::Value& value, Visit visit) {
    if (!value.isArray()) {
        visit(value);
        return;
    }
    for (const Json::Value& element : value)
        visit(element);
}

bool ReadDevice(const Json::Value& object, __tagTvVideoParam& device) {
    if (!ReadString(object, "id", device.id) || device.id.empty())
        return false;
    ReadString(object, "name", device.name);
    ReadString(object, "uctype", device.uctype);
    ReadInt(object, "devtype", device.devtype);
    ReadInt(object, "ptype", device.ptype);
    ReadInt(object, "channelnum", device.channelnum);
    ReadInt(object, "status", device.status);
    ReadString(object, "ip", device.ip);
    ReadInt(object, "port", device.port);
    ReadInt(object, "httpPort", device.httpPort);
    ReadString(object, "username", device.username);
    ReadString(object, "password", device.password);
    ReadInt(object, "streamType", device.streamType);
    ReadInt(object, "connectType", device.connectType);
    ReadBool(object, "p2p", device.p2p);
    ReadInt(object, "enable", device.enable);
    ReadBool(object, "httpsEnable", device.httpsEnable);
    return true;
}

void ReadChannelNames(const Json::Value& device,
                      std::map<std::string, std::map<int, std::string>>& names) {
    std::string id;
    const Json::Value& channels = Member(device, "channels");
    if (!ReadString(device, "id", id) || id.empty() || !channels.isArray())
        return;
    for (const Json::Value& entry : channels) {
        int channel = 0;
        std::string name;
        if (ReadInt(entry, "channel", channel) && ReadString(entry, "name", name))
            names[id][channel] = std::move(name);
    }
}

/// Reads a body that has to be one object.
bool ParseObject(const char* body, Json::Value& root) {
    return ParseJson(body, root) && root.isObject();
}

}  // namespace

bool VideoCommandHelper::CommandParse_Video(std::list<__tagTvVideoParam>& devices,
                                            const char* body) {
    Json::Value root;
    if (!ParseJson(body, root))
        return false;
    const Json::Value& list = Member(root, "devs");
    ForEach(list.isArray() ? list : root, [&devices](const Json::Value& entry) {
        __tagTvVideoParam device;
        if (ReadDevice(entry, device))
            devices.push_back(std::move(device));
    });
    return true;
}

bool VideoCommandHelper::CommandParse_DevName(
    std::map<std::string, std::map<int, std::string>>& names, const char* body) {
    names.clear();
    Json::Value root;
    if (!ParseJson(body, root))
        return false;
    ForEach(root, [&names](const Json::Value& device) { ReadChannelNames(device, names); });
    return true;
}

bool VideoCommandHelper::CommandParse_GetPreviewUrl(std::string& deviceId, int& channel,
                                                    int& streamNo, int& face, const char* body) {
    deviceId.clear();
    channel = streamNo = face = 0;
    Json::Value root;
    if (!ParseObject(body, root))
        return false;
    ReadString(root, "id", deviceId);
    ReadInt(root, "channel", channel);
    ReadInt(root, "streamNo", streamNo);
    ReadInt(root, "face", face);
    return true;
}

bool VideoCommandHelper::CommandParse_PlaybackParam(int& channel, int& beginTime, int& endTime,
                                                    int& streamNo, int& recordType, int& seekTime,
                                                    const char* body) {
    channel = beginTime = endTime = streamNo = recordType = seekTime = 0;
    Json::Value root;
    if (!ParseObject(body, root))
        return false;
    ReadInt(root, "channel", channel);
    ReadInt(root, "beginTime", beginTime);
    ReadInt(root, "endTime", endTime);
    ReadInt(root, "streamNo", streamNo);
    ReadInt(root, "recordType", recordType);
    ReadInt(root, "seekTime", seekTime);
    return true;
}

bool VideoCommandHelper::CommandParse_RecordSearch(__tagTvSearchRecordParam& param,
                                                   const char* body) {
    param = {};
    Json::Value root;
    if (!ParseObject(body, root))
        return false;
    ReadString(root, "id", param.id);
    ReadInt16(root, "channel", param.channel);
    ReadInt16(root, "streamNo", param.streamNo);
    ReadInt(root, "fileType", param.fileType);
    ReadInt(root, "startTime", param.startTime);
    ReadInt(root, "endTime", param.endTime);
    return true;
}
