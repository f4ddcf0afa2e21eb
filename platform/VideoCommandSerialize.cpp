#include <json/value.h>

#include <utility>

#include "platform/VideoCommandHelper.h"

namespace {

const char* TextOrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

Json::Value ChannelStates(const std::map<int, int>& states) {
    Json::Value list(Json::arrayValue);
    for (const auto& [channel, state] : states) {
        Json::Value entry;
        entry["channel"] = channel;
        entry["state"] = state;
        list.append(std::move(entry));
    }
    return list;
}

Json::Value RecordFile(const __tagTvRecordFile& file) {
    Json::Value entry;
    entry["index"] = file.index;
    entry["fileType"] = file.fileType;
    entry["startTime"] = file.startTime;
    entry["endTime"] = file.endTime;
    entry["fileSize"] = file.fileSize;
    return entry;
}

}  // namespace

std::string VideoCommandHelper::CommandSerialize_Stream(const char* ip, int port, const char* uri,
                                                        int type) {
    Json::Value root;
    root["ip"] = TextOrEmpty(ip);
    root["port"] = port;
    root["uri"] = TextOrEmpty(uri);
    root["type"] = type;
    return root.toStyledString();
}

std::string VideoCommandHelper::CommandSerialize_DevStatus(
    const std::map<std::string, std::map<int, int>>& status) {
    Json::Value devices(Json::arrayValue);
    for (const auto& [id, states] : status) {
        Json::Value device;
        device["id"] = id;
        device["status"] = ChannelStates(states);
        devices.append(std::move(device));
    }
    Json::Value root;
    root["devs"] = std::move(devices);
    return root.toStyledString();
}

std::string VideoCommandHelper::CommandSerialize_RecordSearch_Result(
    const std::list<__tagTvRecordFile>& records, bool withCount) {
    Json::Value list(Json::arrayValue);
    for (const __tagTvRecordFile& file : records)
        list.append(RecordFile(file));
    Json::Value root;
    if (withCount)
        root["count"] = list.size();
    root["records"] = std::move(list);
    return root.toStyledString();
}
