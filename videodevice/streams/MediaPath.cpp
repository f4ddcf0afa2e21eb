#include "videodevice/streams/MediaPath.h"

#include <memory>
#include <vector>

#include "platform/CommandPtr.h"
#include "videodevice/FaceOnClose.h"
#include "videodevice/core/Guarded.h"
#include "videodevice/streams/SyncKey.h"

namespace vms {
namespace {

constexpr int64_t kIdleSeconds = 3;  // a stream without players survives this long

constexpr int kSendFailed = -1;

struct Unit {
    const char* data;
    int length;
    bool isPlayback;
};

/// The loop all media runs through. A function of its own so that everything it needs stays in
/// registers. @param result of the last send. @return the player whose send failed, otherwise `end`
[[gnu::noinline]] const long long* SendUntilFailure(IStreamConnectionController& controller,
                                                    const Unit unit, const long long* client,
                                                    const long long* const end, int& result) {
    int last = result;
    for (; client != end; ++client) {
        try {
            last = controller.SendData(*client, unit.data, unit.length, unit.isPlayback);
        } catch (...) {
            last = kSendFailed;
        }
        if (last == kSendFailed) [[unlikely]]
            break;
    }
    result = last;
    return client;
}

/// @return result of the last send
int SendOneByOne(IStreamConnectionController& controller, const Unit unit,
                 const ClientList::Ids& clients, std::vector<long long>& failed) {
    const long long* client = clients.data();
    const long long* const end = client + clients.size();
    int result = 0;
    while ((client = SendUntilFailure(controller, unit, client, end, result)) != end)
        failed.push_back(*client++);
    return result;
}

}  // namespace

int MediaPath::Deliver(const std::string& key, const char* data, int length) {
    const int64_t now = context_.now();
    IStreamConnectionController* const controller = context_.controller;
    if (controller == nullptr)
        return 0;
    StreamFeed feed = streams_.FeedOf(key);
    if (feed.stream == nullptr) {
        const auto syncKey = SplitSyncKey(key);
        if (syncKey && syncKey->channel >= 0)
            feed = syncs_.FeedOf(syncKey->session, syncKey->channel);
    }
    if (feed.clients != nullptr) {
        feed.stream->lastActive = now;
        return SendToAll(*controller, feed, data, length);
    }
    if (feed.stream != nullptr)
        RetireIfIdle(key, feed.stream, now);
    return 0;
}

int MediaPath::SendToAll(IStreamConnectionController& controller, const StreamFeed& feed,
                         const char* data, int length) {
    const ClientList::Ids& clients = *feed.clients;
    const Unit unit{data, length, feed.stream->streamKind == StreamInfo::kPlayback};
    std::vector<long long> failed;
    const int result = SendOneByOne(controller, unit, clients, failed);
    if (!failed.empty())
        streams_.DetachFailed(feed.stream, failed);
    return result;
}

void MediaPath::RetireIfIdle(const std::string& key, const std::shared_ptr<StreamInfo>& stream,
                             int64_t now) {
    if (now - stream->lastActive <= kIdleSeconds)
        return;
    const Retirement::Passage passage(retirement_);
    if (streams_.TakeIdle(stream))
        return retirement_.RetireStream(stream);
    const auto syncKey = SplitSyncKey(key);
    if (syncKey && syncs_.TakeIdle(syncKey->session, syncKey->channel, stream))
        retirement_.RetireChannel(stream);
}

void MediaPath::UpdateKeyFrame(const std::string& key, const char* data, int length) {
    if (data != nullptr && length >= 0)
        streams_.StoreKeyFrame(key, std::make_shared<const std::string>(data, length));
}

int MediaPath::QueryDataCount(const std::string& key) {
    IStreamConnectionController* const controller = context_.controller;
    const ClientList::Snapshot clients = streams_.FeedOf(key).clients;
    int count = -1;
    if (controller != nullptr && clients != nullptr)
        Guarded("QueryDataCountToSend",
                [&] { count = controller->QueryDataCount(clients->front()); });
    return count;
}

void MediaPath::Message(const std::string& key, const char* message) {
    if (message == g_faceOnClose)
        return faces_.Start(key);
    IStreamConnectionController* const controller = context_.controller;
    if (controller != nullptr)
        Guarded("MsgCallback", [&] { Relay(*controller, key, message); });
}

void MediaPath::Relay(IStreamConnectionController& controller, const std::string& key,
                      const char* message) {
    const ClientList::Snapshot clients = streams_.FeedOf(key).clients;
    if (clients == nullptr)
        return;
    const CommandPtr record(SysCommandHelper::CreateRequestCommand(
        TV_CMD_SOURCE_MESSAGE, context_.name.c_str(), key.c_str(), message, ""));
    for (const long long connectionId : *clients)
        Guarded("MsgCallback", [&] { controller.SendCommand(connectionId, record.get()); });
}

}  // namespace vms
