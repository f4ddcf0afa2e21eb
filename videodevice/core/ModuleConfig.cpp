#include "videodevice/core/ModuleConfig.h"

#include "platform/Json.h"

namespace vms {
namespace {

void ReadType(const Json::Value& root, const char* key, std::atomic<int32_t>& out) {
    int value = 0;
    if (ReadInt(root, key, value))
        out = value;
}

}  // namespace

void ReadModuleConfig(const char* config, __tagTvStreamServerParam& server, StreamTypes& types) {
    server = {};
    Json::Value root;
    if (!ParseJson(config, root))
        return;
    const Json::Value& streamServer = Member(root, "streamserver");
    ReadString(streamServer, "port", server.port);
    ReadInt(streamServer, "http_port", server.http_port);
    ReadInt(streamServer, "rtsp_port", server.rtsp_port);
    ReadString(streamServer, "content", server.content);
    ReadString(streamServer, "header", server.header);
    ReadType(root, "playbackStreamType", types.playback);
    ReadType(root, "previewStreamType", types.preview);
    ReadType(root, "downloadStreamType", types.download);
}

}  // namespace vms
