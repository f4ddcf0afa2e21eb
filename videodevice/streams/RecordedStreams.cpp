#include "videodevice/streams/RecordedStreams.h"

#include <utility>

#include "module/LogSink.h"
#include "platform/Guid.h"
#include "platform/ILogHandler.h"
#include "platform/Json.h"
#include "platform/VideoCommandHelper.h"
#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/core/Response.h"

namespace vms {
namespace {

constexpr int kUnknownSpeed = -1;   // the factory has not said from which speed on
constexpr int kDeviceDecides = -1;  // stream type

std::string Describe(const ServerAddress& server, const std::string& key, int speedOnlyI,
                     int canSeek) {
    Json::Value answer(Json::objectValue);
    answer["ip"] = server.host;
    answer["port"] = server.port;
    answer["uri"] = key;
    answer["sp"] = speedOnlyI;
    answer["canseek"] = canSeek;
    return answer.toStyledString();
}

}  // namespace

RecordedStreams::Query RecordedStreams::ReadQuery(const std::string& body) {
    Query query;
    Json::Value root;
    ParseJson(body.c_str(), root);
    ReadInt(root, "channel", query.channel);
    ReadInt(root, "streamNo", query.streamNo);
    ReadInt(root, "beginTime", query.beginTime);
    ReadInt(root, "endTime", query.endTime);
    return query;
}

void RecordedStreams::GetPlaybackUrl(const __tagTvCommand* command) {
    AnswerRequest(context_.bus, command, "get playback url error", [&](__tagTvCommand& response) {
        const auto device = devices_.Find(command->deviceId);
        if (device == nullptr)
            return;
        const auto server = context_.StreamServer();
        if (!server)
            return;
        const Query query = ReadQuery(command->body);
        int speedOnlyI = kUnknownSpeed;
        auto source = CreatePlaybackSource(*device, query, speedOnlyI);
        if (source == nullptr)
            return;
        const auto stream = MakeStream(command->deviceId, std::move(source));
        StreamInTheMaking making(retirement_, stream);
        const int canSeek = device->IsCanSeek() ? 1 : 0;
        Succeed(response, Describe(*server, stream->key, speedOnlyI, canSeek));
        VMS_LOG(1, "GetPlaybackUrl",
                "create playback stream, uri=%s, dev=%s, channel=%d, stream=%d, speedOnlyI=%d, "
                "IsCanSeek=%d",
                stream->key.c_str(), stream->deviceId.c_str(), query.channel, query.streamNo,
                speedOnlyI, canSeek);
        const auto displaced = streams_.Insert(stream);
        making.Done();
        retirement_.RetireStream(displaced);
    });
}

void RecordedStreams::GetRecordDownloadUrl(const __tagTvCommand* command) {
    AnswerRequest(
        context_.bus, command, "get record download url error", [&](__tagTvCommand& response) {
            const auto device = devices_.Find(command->deviceId);
            if (device == nullptr)
                return;
            const auto server = context_.StreamServer();
            if (!server)
                return;
            std::unique_ptr<IPlaybackStreamServer> source(
                context_.factory.CreateDownloadServer(device.get(), context_.streamTypes.download));
            if (source == nullptr)
                return;
            const auto stream = MakeStream(command->deviceId, std::move(source));
            Succeed(response, VideoCommandHelper::CommandSerialize_Stream(
                                  server->host.c_str(), server->port, stream->key.c_str(), 0));
            retirement_.RetireStream(streams_.Insert(stream));
        });
}

std::unique_ptr<IPlaybackStreamServer> RecordedStreams::CreatePlaybackSource(IVideoDevice& device,
                                                                             const Query& query,
                                                                             int& speedOnlyI) {
    int streamType = context_.streamTypes.playback;
    if (streamType < 0) {
        int unused1 = 0;
        int unused2 = 0;
        std::string unused3;
        device.PreparePlayback(query.channel, query.streamNo, query.beginTime, query.endTime,
                               &unused1, &unused2, &unused3);
        streamType = kDeviceDecides;
    }
    return std::unique_ptr<IPlaybackStreamServer>(
        context_.factory.CreatePlaybackServer(&device, &speedOnlyI, streamType));
}

StreamTable::Stream RecordedStreams::MakeStream(const std::string& deviceId,
                                                std::unique_ptr<IPlaybackStreamServer> source) {
    auto stream = std::make_shared<StreamInfo>();
    stream->deviceId = deviceId;
    stream->streamKind = StreamInfo::kPlayback;
    stream->playbackServer = std::move(source);
    StreamInTheMaking making(retirement_, stream);
    stream->key = stream->playbackServer->GetStreamUri();
    if (stream->key.empty())
        stream->key = GetGuid();
    stream->lastActive = context_.now();
    making.Done();
    return stream;
}

}  // namespace vms
