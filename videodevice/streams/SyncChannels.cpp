#include "videodevice/streams/SyncChannels.h"

#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/core/Guarded.h"
#include "videodevice/core/RequestText.h"
#include "videodevice/streams/SyncKey.h"

namespace vms {

bool SyncChannels::Start(long long connectionId, const std::string& sessionKey, int channel) {
    const auto session = table_.FindSession(sessionKey);
    const auto device = devices_.Find(DeviceOfSessionKey(sessionKey));
    if (session == nullptr || device == nullptr)
        return false;
    Open({sessionKey, session, channel, connectionId, context_.now()}, *device);
    return true;
}

bool SyncChannels::Stop(long long connectionId, const std::string& sessionKey, int channel) {
    if (table_.FindSession(sessionKey) == nullptr || devices_.Find(sessionKey) == nullptr)
        return false;
    retirement_.RetireChannel(table_.DetachChannel(sessionKey, channel, connectionId));
    return true;
}

void SyncChannels::Open(const SyncTable::Seat& seat, IVideoDevice& device) {
    const std::string token = seat.session->GetToken();
    if (token.empty()) {
        VMS_LOG(2, "OnRecv", "create stream err, token is null");
        return;
    }
    if (table_.AttachChannel(seat))
        return;
    const auto stream = MakeStream(seat, device, token);
    // Whoever was not the one to enter a stream lets its own go unstarted.
    if (stream != nullptr && table_.InsertChannel(seat, stream) == SyncTable::Entry::kInserted)
        Play(seat, stream);
}

SyncTable::Stream SyncChannels::MakeStream(const SyncTable::Seat& seat, IVideoDevice& device,
                                           const std::string& token) {
    auto stream = std::make_shared<StreamInfo>();
    stream->key = JoinSyncKey(seat.sessionKey, seat.channel);
    stream->deviceId = DeviceOfSessionKey(seat.sessionKey);
    stream->channel = seat.channel;
    stream->playbackServer.reset(
        context_.factory.CreateSyncPlaybackChannelServer(&device, seat.channel, token));
    return stream->playbackServer != nullptr ? stream : nullptr;
}

void SyncChannels::Play(const SyncTable::Seat& seat, const SyncTable::Stream& stream) {
    const bool started = Guarded("OnRecv", [&] {
        stream->playbackServer->StartPlayback(seat.sessionKey, seat.channel, 0, 0, 0, 0, 0,
                                              &context_.sink, false);
    });
    if (!started && table_.TakeChannel(seat.sessionKey, seat.channel, stream))
        retirement_.RetireChannel(stream);
}

}  // namespace vms
