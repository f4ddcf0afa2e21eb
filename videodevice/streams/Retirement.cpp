#include "videodevice/streams/Retirement.h"

#include <utility>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "videodevice/streams/PatientWait.h"

namespace vms {
namespace {

void StopSources(StreamInfo& stream) {
    if (stream.previewServer != nullptr)
        Guarded("StopPreview", [&] { stream.previewServer->StopPreview(stream.key); });
    if (stream.playbackServer != nullptr)
        Guarded("StopPlayback", [&] { stream.playbackServer->StopPlayback(stream.key); });
    if (stream.faceServer != nullptr)
        Guarded("StopFaceFrame", [&] { stream.faceServer->StopFaceFrame(stream.key); });
}

bool HasClosed(StreamInfo& stream) {
    bool closed = true;
    if (stream.previewServer != nullptr) {
        stream.previewServer->RequestStopGetPreviewStream();
        closed = stream.previewServer->GetCloseGetStreamStatus();
    }
    if (stream.playbackServer != nullptr) {
        stream.playbackServer->RequestStopGetPlaybackStream();
        closed = stream.playbackServer->GetCloseGetStreamStatus() && closed;
    }
    return closed;
}

}  // namespace

void Retirement::RetireStream(const Stream& stream) {
    if (stream == nullptr)
        return;
    StopSources(*stream);
    // Out of its table, nobody else touches the face source: it closes on its own.
    KeepUntilClosed(std::exchange(stream->faceServer, nullptr));
    forgetKeyFrame_(stream->key);
    retiredStreams_.Add(stream);
}

void Retirement::RetireChannel(const Stream& stream) {
    if (stream == nullptr || stream->playbackServer == nullptr)
        return;
    Guarded("StopPlayback", [&] { stream->playbackServer->StopPlayback(""); });
    forgetKeyFrame_(stream->key);
    retiredSyncStreams_.Add(stream);
}

void Retirement::RetireSession(const Session& session) {
    if (session == nullptr)
        return;
    Guarded("SyncPlaybackErase", [&] { session->Stop(); });
    retiredSyncServers_.Add(session);
}

void Retirement::KeepUntilClosed(Face face) {
    if (face != nullptr)
        retiredFaceServers_.Add(std::move(face));
}

void Retirement::SweepStreams(DeferredDestruction<StreamInfo>& streams) {
    streams.Sweep(HasClosed, [this](Stream stream) {
        const std::string key = stream->key;
        stream.reset();
        // A key frame that came after the stop must not stay.
        forgetKeyFrame_(key);
    });
}

void Retirement::DestroyPlayConn() {
    SweepStreams(retiredStreams_);
}

void Retirement::DestroySyncPlaybackConn() {
    SweepStreams(retiredSyncStreams_);
}

void Retirement::DestroyFaceServers() {
    retiredFaceServers_.Sweep(
        [](IFaceFrameServer& face) {
            face.RequestStopGetPreviewStream();
            return face.GetCloseGetStreamStatus();
        },
        [](Face face) { face.reset(); });
}

void Retirement::DestroySyncPlaybackServer() {
    retiredSyncServers_.Sweep(
        [](ISyncPlaybackServer& session) {
            session.RequestStopGetPlaybackStream();
            return session.GetCloseGetStreamStatus();
        },
        [](Session session) { session->Destroy(); });
}

void Retirement::SweepAll() {
    DestroyPlayConn();
    DestroySyncPlaybackConn();
    DestroySyncPlaybackServer();
    DestroyFaceServers();
}

void Retirement::Clear() {
    if (!PatientWait([this] { return passages_ == 0; }))
        VMS_LOG(3, "Retirement", "a source's thread does not come back");
    SweepAll();
    retiredStreams_.Clear();
    retiredSyncStreams_.Clear();
    retiredFaceServers_.Clear();
    retiredSyncServers_.Clear();
}

}  // namespace vms
