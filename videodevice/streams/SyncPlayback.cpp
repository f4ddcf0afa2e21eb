#include "videodevice/streams/SyncPlayback.h"

#include "platform/Json.h"
#include "platform/VideoCommandHelper.h"
#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/core/Guarded.h"
#include "videodevice/core/RequestText.h"
#include "videodevice/core/Response.h"

namespace vms {

/// What a session is created with; times in seconds since the epoch.
struct SyncPlayback::Request {
    std::string id;
    int streamNo = 0;
    int beginTime = 0;
    int endTime = 0;
    int seekTime = 0;
    int speed = 0;
    int recordType = 19;

    bool Read(const std::string& body) {
        Json::Value root;
        if (!ParseJson(body.c_str(), root))
            return false;
        ReadString(root, "id", id);
        ReadInt(root, "streamNo", streamNo);
        ReadInt(root, "beginTime", beginTime);
        ReadInt(root, "endTime", endTime);
        ReadInt(root, "seekTime", seekTime);
        ReadInt(root, "speed", speed);
        ReadInt(root, "recordType", recordType);
        return true;
    }
    bool IsUsable() const { return !id.empty() && 0 < beginTime && beginTime < endTime; }
};

namespace {

constexpr int kSupported = 1;

std::list<int> ReadChannels(const std::string& body) {
    std::list<int> channels;
    Json::Value root;
    if (!ParseJson(body.c_str(), root) || !root.isArray())
        return channels;
    for (const Json::Value& element : root) {
        if (element.isInt())
            channels.push_back(element.asInt());
    }
    return channels;
}

}  // namespace

void SyncPlayback::Create(const __tagTvCommand* command) {
    AnswerRequest(context_.bus, command, "", [&](__tagTvCommand& response) {
        const auto device = devices_.Find(DeviceOfSessionKey(command->deviceId));
        const auto server = context_.StreamServer();
        if (device == nullptr || !server || !Supports(*device))
            return;
        Erase(command->deviceId);
        if (Open(command->deviceId, *device, command->body))
            Succeed(response, VideoCommandHelper::CommandSerialize_Stream(server->host.c_str(),
                                                                          server->port, "", 0));
    });
}

bool SyncPlayback::Supports(IVideoDevice& device) {
    __tagTvDeviceCapability capability;
    device.GetCapability(&capability);
    return capability.supportSyncPlayback == kSupported;
}

bool SyncPlayback::Open(const std::string& sessionKey, IVideoDevice& device,
                        const std::string& body) {
    const SyncTable::Session session(context_.factory.CreateSyncPlaybackServer(&device));
    Request request;
    if (session == nullptr || !request.Read(body) || !request.IsUsable())
        return false;
    if (!CreateSession(session, request))
        return false;
    const bool entered = table_.InsertSession(sessionKey, session);
    if (!entered)
        retirement_.RetireSession(session);
    return entered;
}

bool SyncPlayback::CreateSession(const SyncTable::Session& session, const Request& request) {
    int result = -1;
    const bool returned = Guarded("SyncPlaybackCreate", [&] {
        result = session->Create(request.id.c_str(), request.beginTime, request.endTime,
                                 request.seekTime, request.recordType, request.streamNo,
                                 request.speed, &context_.sink);
    });
    if (!returned)
        retirement_.RetireSession(session);  // nobody knows how far it got
    return result >= 0;
}

void SyncPlayback::Destroy(const __tagTvCommand* command) {
    AnswerRequest(context_.bus, command, "", [&](__tagTvCommand& response) {
        Erase(command->deviceId);
        Succeed(response);
    });
}

void SyncPlayback::Erase(const std::string& sessionKey) {
    Retire(table_.Erase(sessionKey));
}

void SyncPlayback::Retire(const SyncTable::Removal& removal) {
    retirement_.RetireSession(removal.session);
    for (const auto& channel : removal.channels)
        retirement_.RetireChannel(channel);
}

void SyncPlayback::Control(const __tagTvCommand* command, const SessionCall& call) {
    AnswerRequest(context_.bus, command, "", [&](__tagTvCommand& response) {
        const auto session = table_.FindSession(command->deviceId);
        if (session != nullptr && call(*session) >= 0)
            Succeed(response);
    });
}

void SyncPlayback::ChangeChannels(const __tagTvCommand* command, ChannelCall call) {
    Control(command, [&](ISyncPlaybackServer& session) {
        std::list<int> channels = ReadChannels(command->body);
        return channels.empty() ? -1 : (session.*call)(channels);
    });
}

void SyncPlayback::ChannelAdd(const __tagTvCommand* command) {
    ChangeChannels(command, &ISyncPlaybackServer::AddChannels);
}

void SyncPlayback::ChannelDel(const __tagTvCommand* command) {
    ChangeChannels(command, &ISyncPlaybackServer::DelChannels);
}

void SyncPlayback::Start(const __tagTvCommand* command) {
    Control(command, [](ISyncPlaybackServer& session) { return session.Start(); });
}

void SyncPlayback::Stop(const __tagTvCommand* command) {
    Control(command, [](ISyncPlaybackServer& session) { return session.Stop(); });
}

void SyncPlayback::Pause(const __tagTvCommand* command) {
    Control(command, [](ISyncPlaybackServer& session) { return session.Pause(); });
}

void SyncPlayback::Resume(const __tagTvCommand* command) {
    Control(command, [](ISyncPlaybackServer& session) { return session.Resume(); });
}

void SyncPlayback::Seek(const __tagTvCommand* command) {
    Control(command, [&](ISyncPlaybackServer& session) {
        return session.Seek(ParseDecimal(command->body));
    });
}

void SyncPlayback::SetSpeed(const __tagTvCommand* command) {
    Control(command, [&](ISyncPlaybackServer& session) {
        return session.SetSpeed(ParseDecimal(command->body));
    });
}

}  // namespace vms
