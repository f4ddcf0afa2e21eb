#include "host/players/websocket/WebSocketPlayer.h"

#include <utility>

#include "host/auth/Rights.h"
#include "host/http/HttpText.h"
#include "host/net/Bursts.h"
#include "host/players/websocket/EnterPlayer.h"
#include "host/players/websocket/PlayerProtocol.h"
#include "host/players/websocket/WebSocketFrame.h"
#include "host/players/websocket/WebSocketOutlet.h"
#include "host/relay/RelayTable.h"
#include "host/stream/ReceiverTable.h"
#include "host/stream/StreamModules.h"
#include "media/unit/MediaHeader.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

UnitKind KindOf(std::string_view unit) {
    MediaUnitHeader header;
    return ReadMediaHeader(unit, header) ? header.Kind() : UnitKind::kOther;
}

}  // namespace

WebSocketPlayer::WebSocketPlayer(std::shared_ptr<Connection> connection, PlayerContext& context,
                                 Role role)
    : connection_(std::move(connection)),
      context_(context),
      lane_(std::make_shared<Lane>(context.lanes)),
      number_(context.receivers.NextNumber()),
      role_(role) {}

bool WebSocketPlayer::Opened(const Peer& peer) {
    peer_ = peer;
    since_ = std::time(nullptr);
    opened_ = EnterPlayer(context_, *lane_, shared_from_this(), peer);
    return opened_;
}

void WebSocketPlayer::SetQuery(const std::map<std::string, std::string>& query) {
    watches_ = query.count("device") != 0;
    if (watches_)
        problem_ = ReadStreamAddress(ValueIn(query, "device"), ValueIn(query, "channel"),
                                     ValueIn(query, "stream"), address_);
}

std::string WebSocketPlayer::Begin() {
    if (watches_ && problem_.empty())
        Watch(address_);
    return problem_;
}

/// The player watches a stream without a key; its requests without a key are about that stream.
/// Where the stream cannot be had the connection is asked to end with the reason.
void WebSocketPlayer::Watch(const StreamAddress& address) {
    context_.live.Open(address, [self = shared_from_this()](const std::shared_ptr<LiveShare>& share,
                                                            const SourceProblem& problem) {
        self->lane_->Post([self, share, problem] {
            if (share == nullptr)
                self->connection_->AskToEnd(problem.text);
            else if (!self->left_)
                self->Join({share, &share->Stream()}, true);
        });
    });
}

void WebSocketPlayer::Received(std::string frame, bool isText, std::function<void()> done) {
    lane_->Post([self = shared_from_this(), frame = std::move(frame), isText,
                 done = std::move(done)]() mutable {
        if (isText)
            self->HandleText(frame);
        else if (self->role_ >= Role::kOperator)
            self->context_.modules.OnStream(self->number_, frame);
        done();
    });
}

void WebSocketPlayer::Gone(int code, const std::string& reason) {
    if (std::exchange(gone_, true) || !opened_)
        return;
    lane_->Post([self = shared_from_this(), code, reason] {
        self->left_ = true;
        self->LeaveLive();
        RemovePlayer(self->context_, self->number_, code, reason);
    });
}

void WebSocketPlayer::CountTooSlow() {
    ++context_.totals.slowPlayers;
    context_.log.Log(2, "SendData", "player %lld is too slow, given up", number_);
}

/// Until the modules have heard of the end the player counts as there: a module that took it off a
/// playback before would not know by its OnClose which playback to end.
bool WebSocketPlayer::SendUnit(std::string_view unit, bool isPlayback) {
    connection_->SendUnit(BinaryFrame(unit.size()), unit, KindOf(unit), isPlayback);
    return !connection_->IsGivenUp();
}

bool WebSocketPlayer::SendCommand(const __tagTvCommand& command) {
    return SendText(PlayerMessage(command));
}

bool WebSocketPlayer::SendText(const std::string& text) {
    connection_->Send(TextFrame(text.size()), text, SendQueue::Class::kControl);
    return !connection_->IsGivenUp();
}

int WebSocketPlayer::QueuedUnits() const {
    return static_cast<int>(connection_->Counts().queuedUnits);
}

PlayerInfo WebSocketPlayer::Describe() const {
    PlayerInfo info;
    info.id = number_;
    info.address = peer_.address;
    info.port = peer_.port;
    info.since = since_;
    info.counts = connection_->Counts();
    MutexLock lock(mutex_);
    info.key = key_;
    return info;
}

void WebSocketPlayer::HandleText(const std::string& frame) {
    ++context_.totals.requests;
    PlayerRequest request;
    if (!ReadPlayerRequest(frame, request) || role_ < NeededRoleOfCommand(request.command)) {
        Answer(request, -1);
        return;
    }
    PlayerRequest meant = request;
    if (request.key.empty() && live_ != nullptr && isByAddress_)
        meant.key = live_->Key();
    if (IsStartRequest(request.command)) {
        context_.onStart(meant.key);
        MutexLock lock(mutex_);
        key_ = meant.key;
    }
    if (request.command == TV_STREAM_PREVIEW_START)
        StartLive(request);
    else
        Answer(request, Carry(meant));
}

void WebSocketPlayer::Answer(const PlayerRequest& request, int result) {
    SendText(PlayerAnswer(request, result));
}

int WebSocketPlayer::Carry(const PlayerRequest& request) {
    if (request.command == TV_STREAM_PREVIEW_STOP && StopLive(request.key))
        return 0;
    return context_.modules.OnRequest(number_, request);
}

/// A player has one live stream: a second one takes the first one's place.
void WebSocketPlayer::StartLive(const PlayerRequest& request) {
    const std::shared_ptr<Relay> relay = context_.relays.Acquire(request.key);
    Answer(request, relay == nullptr ? -1 : 0);
    if (relay != nullptr)
        Join(relay, false);
}

void WebSocketPlayer::Join(std::shared_ptr<Relay> relay, bool isByAddress) {
    LeaveLive();
    live_ = std::move(relay);
    isByAddress_ = isByAddress;
    live_->WithOutlet(
        WebSocketOutlet::kKind,
        [this] { return std::make_shared<WebSocketOutlet>(context_.bursts); },
        [this](Outlet& outlet) { static_cast<WebSocketOutlet&>(outlet).Join(connection_); });
    connection_->FlushHere();
}

/// @return false when it is not attached to that stream
bool WebSocketPlayer::StopLive(const std::string& key) {
    if (live_ == nullptr || live_->Key() != key)
        return false;
    LeaveLive();
    return true;
}

void WebSocketPlayer::LeaveLive() {
    if (live_ == nullptr)
        return;
    live_->WithOutlet(
        WebSocketOutlet::kKind,
        [this] { return std::make_shared<WebSocketOutlet>(context_.bursts); },
        [this](Outlet& outlet) { static_cast<WebSocketOutlet&>(outlet).Leave(*connection_); });
    const std::shared_ptr<Relay> left = std::exchange(live_, nullptr);
    if (!isByAddress_)
        context_.relays.Release(left);
}

}  // namespace vms::host
