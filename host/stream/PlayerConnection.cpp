#include "host/stream/PlayerConnection.h"

#include <boost/asio/post.hpp>

#include <utility>

#include "host/stream/ConnectionTable.h"
#include "host/stream/PlayerProtocol.h"
#include "host/stream/StreamModules.h"
#include "platform/ILogHandler.h"

namespace vms {

namespace asio = boost::asio;

PlayerConnection::PlayerConnection(IoThread& io, PlayerContext& context)
    : io_(io),
      context_(context),
      output_(context.limits),
      lane_(asio::make_strand(context.lanes.get_executor())),
      id_(context.connections.NextId()) {}

bool PlayerConnection::SendUnit(std::string_view unit, UnitKind kind, bool isPlayback) {
    return Settle(output_.SendUnit(unit, kind, isPlayback));
}

int PlayerConnection::ClaimFor(std::string_view unit, UnitKind kind, bool isPlayback, bool& alive) {
    const PlayerOutput::Claim claim = output_.ClaimFor(unit, kind, isPlayback);
    alive = claim.descriptor >= 0 || Settle(claim.outcome);
    return claim.descriptor;
}

bool PlayerConnection::Release(const FrameHeader& header, std::string_view unit, ssize_t taken) {
    return Settle(output_.Release(header, unit, taken));
}

bool PlayerConnection::SendText(std::string_view text) {
    return Settle(output_.SendText(text));
}

bool PlayerConnection::Settle(const PlayerOutput::Outcome& outcome) {
    if (outcome.flush)
        asio::post(io_.Context(), [self = shared_from_this()] { self->FlushLater(); });
    if (outcome.verdict == SendVerdict::tooSlow) {
        givenUp_ = true;
        ++context_.totals.slowPlayers;
        context_.log.Log(2, "SendData", "player %lld is too slow, given up", id_);
        Close("too slow");
    }
    // Until the modules have heard of the end the player counts as there: a module that took it off
    // a playback before would not know by its OnClose which playback to end.
    return !givenUp_;
}

void PlayerConnection::Close(const std::string& reason) {
    asio::post(io_.Context(), [self = shared_from_this(), reason] { self->StartClose(reason); });
}

PlayerInfo PlayerConnection::Describe() const {
    PlayerInfo info;
    info.id = id_;
    info.address = address_;
    info.port = port_;
    info.since = since_;
    info.counts = output_.Counts();
    MutexLock lock(mutex_);
    info.key = key_;
    return info;
}

bool PlayerConnection::Opened(const std::string& address, int port) {
    address_ = address;
    port_ = port;
    since_ = std::time(nullptr);
    opened_ = context_.connections.Add(shared_from_this());
    if (!opened_)
        return false;
    ++context_.totals.players;
    asio::post(lane_, [self = shared_from_this()] {
        self->context_.modules.OnConnect(self->id_, self->address_, self->port_);
    });
    return true;
}

bool PlayerConnection::Received(std::string frame, bool text) {
    if (gone_)
        return false;
    const size_t bytes = frame.size();
    ++waitingEvents_;
    waitingBytes_ += bytes;
    asio::post(lane_, [self = shared_from_this(), frame = std::move(frame), bytes, text]() mutable {
        if (text)
            self->HandleText(frame);
        else
            self->context_.modules.OnStream(self->id_, frame);
        asio::post(self->io_.Context(), [self, bytes] { self->EventDone(bytes); });
    });
    readingRests_ = waitingEvents_ >= kWaitingEvents || waitingBytes_ >= kWaitingBytes;
    return !readingRests_;
}

void PlayerConnection::EventDone(size_t bytes) {
    --waitingEvents_;
    waitingBytes_ -= bytes;
    if (std::exchange(readingRests_, false) && !gone_)
        ReadOn();
}

void PlayerConnection::HandleText(const std::string& frame) {
    ++context_.totals.requests;
    PlayerRequest request;
    int result = -1;
    if (ReadPlayerRequest(frame, request)) {
        if (IsStartRequest(request.command)) {
            MutexLock lock(mutex_);
            key_ = request.key;
        }
        result = context_.modules.OnRequest(id_, request);
    }
    SendText(PlayerAnswer(request, result));
}

void PlayerConnection::Gone(int code, const std::string& reason) {
    if (std::exchange(gone_, true))
        return;
    output_.Close();
    if (!opened_)
        return;
    asio::post(lane_, [self = shared_from_this(), code, reason] {
        self->context_.modules.OnClose(self->id_, code, reason);
        self->context_.connections.Remove(self->id_);
    });
}

}  // namespace vms
