#include "videodevice/streams/LivePreview.h"

#include "module/LogSink.h"
#include "platform/Guid.h"
#include "platform/ILogHandler.h"
#include "platform/VideoCommandHelper.h"
#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/core/Response.h"

namespace vms {

void LivePreview::GetPreviewUrl(const __tagTvCommand* command) {
    AnswerRequest(context_.bus, command, "get preview url error", [&](__tagTvCommand& response) {
        const auto device = devices_.Find(command->deviceId);
        if (device == nullptr)
            return;
        const auto server = context_.StreamServer();
        if (!server)
            return;
        Request request;
        VideoCommandHelper::CommandParse_GetPreviewUrl(request.deviceId, request.channel,
                                                       request.streamType, request.face,
                                                       command->body.c_str());
        std::string key;
        if (const auto shared = ReuseStream(request))
            key = shared->previewServer->GetStreamUri();
        else if (const auto created = CreateStream(command->deviceId, *device, request))
            key = created->key;
        else
            return;
        Succeed(response, VideoCommandHelper::CommandSerialize_Stream(
                              server->host.c_str(), server->port, key.c_str(), 0));
    });
}

StreamTable::Stream LivePreview::ReuseStream(const Request& request) {
    StreamTable::LiveMatch match =
        streams_.MatchLive(request.deviceId, request.channel, request.streamType, context_.now());
    retirement_.RetireStream(match.stale);
    return match.reusable;
}

StreamTable::Stream LivePreview::CreateStream(const std::string& deviceId, IVideoDevice& device,
                                              const Request& request) {
    auto stream = std::make_shared<StreamInfo>();
    stream->key = GetGuid();
    stream->deviceId = deviceId;
    stream->channel = request.channel;
    stream->streamKind = StreamInfo::kLive;
    stream->streamType = request.streamType;
    stream->previewServer.reset(context_.factory.CreatePreviewServer(
        &device, context_.streamTypes.preview, &context_.module));
    if (stream->previewServer == nullptr)
        return nullptr;
    StreamInTheMaking making(retirement_, stream);
    StartSources(*stream, device, request);
    VMS_LOG(1, "GetPreviewUrl",
            "create preview stream, uri=%s, dev=%s, channel=%d, stream=%d, face=%d",
            stream->key.c_str(), stream->deviceId.c_str(), request.channel, request.streamType,
            request.face);
    const auto displaced = streams_.Insert(stream);
    making.Done();
    retirement_.RetireStream(displaced);
    return stream;
}

void LivePreview::StartSources(StreamInfo& stream, IVideoDevice& device, const Request& request) {
    stream.previewServer->StartPreview(stream.key, request.channel, request.streamType,
                                       &context_.sink);
    if (request.face == 1) {
        stream.faceServer.reset(context_.factory.CreateFaceFrameServer(&device));
        if (stream.faceServer != nullptr)
            stream.faceServer->StartFaceFrame(stream.key, request.channel, &context_.sink);
    }
    stream.key = stream.previewServer->GetStreamUri();
    stream.lastActive = context_.now();
}

}  // namespace vms
