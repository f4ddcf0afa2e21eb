#include "host/players/websocket/PlayerProtocol.h"

#include "host/text/JsonText.h"
#include "platform/Json.h"
#include "platform/SysCommandHelper.h"

namespace vms::host {
namespace {

constexpr size_t kMostValues = 10'000;

}  // namespace

bool ReadPlayerRequest(const std::string& text, PlayerRequest& request) {
    Json::Value document;
    if (MostJsonValues(text) > kMostValues || !ParseJson(text.c_str(), document) ||
        !ReadInt(document, "cmd", request.command))
        return false;
    ReadString(document, "key", request.key);
    ReadString(document, "body", request.body);
    return MostJsonValues(request.body) <= kMostValues;
}

std::string PlayerAnswer(const PlayerRequest& request, int result) {
    Json::Value answer(Json::objectValue);
    answer["cmd"] = request.command;
    answer["key"] = request.key;
    answer["result"] = result;
    return CompactJson(answer);
}

std::string PlayerMessage(const __tagTvCommand& record) {
    Json::Value message(Json::objectValue);
    message["cmd"] = SysCommandHelper::CommandId(&record);
    message["key"] = record.deviceId;
    message["body"] = record.body;
    return CompactJson(message);
}

bool IsStartRequest(int32_t command) {
    return command == TV_STREAM_PREVIEW_START || command == TV_STREAM_PLAYBACK_START ||
           command == TV_STREAM_DOWNLOAD_START;
}

}  // namespace vms::host
