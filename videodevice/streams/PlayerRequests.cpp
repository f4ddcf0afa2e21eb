#include "videodevice/streams/PlayerRequests.h"

#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "platform/IStreamConnectionController.h"
#include "platform/SysCommandHelper.h"
#include "platform/VideoCommandHelper.h"
#include "videodevice/core/Guarded.h"
#include "videodevice/core/RequestText.h"

namespace vms {
namespace {

constexpr int kMostKeyFrames = 4;  // sent to a player before it is attached in any case

struct PlaybackParam {
    int channel = 0;
    int beginTime = 0;  ///< s since the epoch
    int endTime = 0;    ///< s since the epoch
    int streamNo = 0;
    int recordType = 0;
    int seekTime = 0;

    explicit PlaybackParam(const std::string& body) {
        VideoCommandHelper::CommandParse_PlaybackParam(channel, beginTime, endTime, streamNo,
                                                       recordType, seekTime, body.c_str());
    }
};

}  // namespace

int PlayerRequests::Handle(long long connectionId, const __tagTvCommand& request) {
    int result = -1;
    Guarded("OnRecv", [&] { result = Dispatch(connectionId, request); });
    return result;
}

int PlayerRequests::Dispatch(long long connectionId, const __tagTvCommand& request) {
    const std::string& key = request.deviceId;
    switch (SysCommandHelper::CommandId(&request)) {
        case TV_STREAM_PREVIEW_START:
            VMS_LOG(1, "OnRecv", "client Preview start..........");
            return StartPreview(connectionId, key);
        case TV_STREAM_PREVIEW_STOP:
            VMS_LOG(1, "OnRecv", "client Preview stop..........");
            return parts_.streams.Detach(key, connectionId) ? 0 : -1;
        case TV_STREAM_PLAYBACK_START:
            VMS_LOG(1, "OnRecv", "client playback start..........");
            return StartPlayback(connectionId, request);
        case TV_STREAM_PLAYBACK_STOP:
        case TV_STREAM_DOWNLOAD_STOP:
            VMS_LOG(1, "OnRecv", "client playback(record download) stop..........");
            return StopPlayback(connectionId, request);
        case TV_STREAM_PLAYBACK_PAUSE:
            VMS_LOG(1, "OnRecv", "client playback pause..........");
            return ControlPlayback(key, [&](auto& source) { source.Pause(key); });
        case TV_STREAM_PLAYBACK_RESUME:
            VMS_LOG(1, "OnRecv", "client playback resume..........");
            return ControlPlayback(key, [&](auto& source) { source.Resume(key); });
        case TV_STREAM_PLAYBACK_SPEED:
            VMS_LOG(1, "OnRecv", "client playback speed..........");
            return ControlPlayback(
                key, [&](auto& source) { source.SetSpeed(key, ParseDecimal(request.body)); });
        case TV_STREAM_PLAYBACK_SEEK:
            VMS_LOG(1, "OnRecv", "client playback seek..........");
            return ControlPlayback(
                key, [&](auto& source) { source.Seek(key, ParseDecimal(request.body)); });
        case TV_STREAM_TALK_START:
            VMS_LOG(1, "OnRecv", "client start talk..........");
            return parts_.talks.Start(connectionId, key, ParseDecimal(request.body));
        case TV_STREAM_TALK_STOP:
            VMS_LOG(1, "OnRecv", "client stop talk..........");
            return parts_.talks.Stop(connectionId);
        case TV_STREAM_DOWNLOAD_START:
            VMS_LOG(1, "OnRecv", "client record download start..........");
            return StartDownload(connectionId, request);
        default:
            return -1;
    }
}

int PlayerRequests::StartPreview(long long connectionId, const std::string& key) {
    IStreamConnectionController* const controller = context_.controller;
    StreamTable::KeyFrame sent;
    for (int frames = 0;; ++frames) {
        const bool settle = controller == nullptr || frames == kMostKeyFrames;
        auto attachment = parts_.streams.Attach(key, connectionId, sent, settle);
        if (attachment.stream == nullptr)
            return -1;
        if (attachment.keyFrame == nullptr)
            return 0;
        sent = std::move(attachment.keyFrame);
        Guarded("SendData", [&] {
            controller->SendData(connectionId, sent->data(), static_cast<int>(sent->size()), false);
        });
    }
}

int PlayerRequests::StartPlayback(long long connectionId, const __tagTvCommand& request) {
    const std::string& key = request.deviceId;
    if (parts_.syncChannels.Start(connectionId, key, ParseDecimal(request.body)))
        return -1;
    const PlaybackParam param(request.body);
    const auto takeover =
        parts_.streams.TakeOver(key, connectionId, param.beginTime, param.endTime);
    if (takeover.stream == nullptr)
        return -1;
    takeover.stream->playbackServer->StartPlayback(
        key, param.channel, param.beginTime, param.endTime, param.streamNo, param.recordType,
        param.seekTime, &context_.sink, takeover.firstStart);
    return 0;
}

int PlayerRequests::StopPlayback(long long connectionId, const __tagTvCommand& request) {
    const std::string& key = request.deviceId;
    if (parts_.syncChannels.Stop(connectionId, key, ParseDecimal(request.body)))
        return -1;
    return ControlPlayback(key, [&](auto& source) { source.StopPlayback(key); });
}

int PlayerRequests::StartDownload(long long connectionId, const __tagTvCommand& request) {
    const std::string& key = request.deviceId;
    const PlaybackParam param(request.body);
    const auto takeover =
        parts_.streams.TakeOver(key, connectionId, param.beginTime, param.endTime);
    if (takeover.stream == nullptr)
        return -1;
    takeover.stream->playbackServer->StartDownload(key, param.channel, param.beginTime,
                                                   param.endTime, &context_.sink);
    return 0;
}

int PlayerRequests::ControlPlayback(const std::string& key,
                                    const std::function<void(IPlaybackStreamServer&)>& call) {
    const auto stream = parts_.streams.Find(key);
    if (stream == nullptr || stream->playbackServer == nullptr)
        return -1;
    call(*stream->playbackServer);
    return 0;
}

void PlayerRequests::Close(long long connectionId) {
    const auto playback = parts_.streams.TakePlaybackOf(connectionId);
    parts_.syncPlayback.Retire(parts_.syncTable.DropConnection(connectionId));
    parts_.retirement.RetireStream(playback);
    parts_.talks.Stop(connectionId);
}

}  // namespace vms
