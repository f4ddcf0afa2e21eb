#include "host/players/http/LivePlayer.h"

#include <utility>

#include "host/net/Connection.h"
#include "host/players/http/DropLater.h"
#include "host/players/http/MediaAnswers.h"
#include "host/stream/ReceiverTable.h"
#include "platform/ILogHandler.h"

namespace vms::host {

LivePlayer::LivePlayer(PlayerContext& context, const HttpRequest& request,
                       std::shared_ptr<HttpReply> reply, StreamAddress address,
                       LiveContainer container)
    : context_(context),
      reply_(std::move(reply)),
      card_{context.receivers.NextNumber(),
            {request.peerAddress, request.peerPort},
            std::move(address),
            container == LiveContainer::kTransportStream ? "ts" : "mp4"},
      container_(container),
      begun_(Clock::now()) {}

void LivePlayer::Start() {
    context_.live.Open(card_.address, [self = shared_from_this()](std::shared_ptr<LiveShare> share,
                                                                  const SourceProblem& problem) {
        self->Opened(share, problem);
    });
}

template <class Use>
void LivePlayer::WithOutlet(LiveShare& share, Use use) {
    share.Stream().WithOutlet(
        MediaOutlet::kKind, [this] { return std::make_shared<MediaOutlet>(context_.bursts); },
        [&use](Outlet& outlet) { use(static_cast<MediaOutlet&>(outlet)); });
}

void LivePlayer::Opened(const std::shared_ptr<LiveShare>& share, const SourceProblem& problem) {
    if (share == nullptr) {
        Refuse(problem);
        return;
    }
    {
        MutexLock lock(mutex_);
        if (state_ == State::kOver)
            return;
        state_ = State::kWaiting;
        share_ = share;
    }
    if (!context_.players.Add(shared_from_this())) {
        Refuse({503, "the host is ending"});
        return;
    }
    reply_->OnGone([self = shared_from_this()] { self->Leave(); });
    WithOutlet(*share, [this](MediaOutlet& outlet) {
        bool isWanted = false;
        {
            MutexLock lock(mutex_);
            isWanted = state_ == State::kWaiting;
        }
        if (isWanted)
            outlet.Admit(shared_from_this());
    });
}

std::shared_ptr<Connection> LivePlayer::Begin() {
    auto connection = reply_->BeginLive(MediaHead(container_));
    {
        MutexLock lock(mutex_);
        if (connection != nullptr && state_ == State::kWaiting) {
            state_ = State::kWatching;
            connection_ = connection;
            ++context_.totals.players;
            return connection;
        }
    }
    Finish();  // gone, or the head was all that was wanted
    return nullptr;
}

void LivePlayer::Refuse(const SourceProblem& problem) {
    reply_->Send(ProblemAnswer(problem));
    Finish();
}

bool LivePlayer::Sweep(Clock::time_point now) {
    std::shared_ptr<LiveShare> share;
    {
        MutexLock lock(mutex_);
        if (state_ == State::kWatching || state_ == State::kOver)
            return true;
        if (now - begun_ < kPatience || state_ == State::kAsking)
            return false;
        share = share_;
    }
    bool wasWaiting = false;
    WithOutlet(*share, [&](MediaOutlet& outlet) { wasWaiting = outlet.Withdraw(*this); });
    if (wasWaiting)
        Refuse({504, "the device has sent no picture"});
    return true;
}

/// The connection has come to its end, or the client did not wait.
void LivePlayer::Leave() {
    std::shared_ptr<LiveShare> share;
    std::shared_ptr<Connection> connection;
    {
        MutexLock lock(mutex_);
        share = share_;
        connection = connection_;
    }
    if (!Finish() || share == nullptr)
        return;
    WithOutlet(*share, [&](MediaOutlet& outlet) {
        outlet.Withdraw(*this);
        if (connection != nullptr)
            outlet.Leave(*connection);
    });
    if (connection != nullptr && connection->IsGivenUp()) {
        ++context_.totals.slowPlayers;
        context_.log.Log(2, "LivePlayer", "player %lld is too slow, given up", card_.number);
    }
}

/// @return false when that has been done
bool LivePlayer::Finish() {
    std::shared_ptr<LiveShare> share;
    {
        MutexLock lock(mutex_);
        if (std::exchange(state_, State::kOver) == State::kOver)
            return false;
        share = std::move(share_);
    }
    context_.players.Remove(card_.number);
    DropLater(context_.lanes, std::move(share));
    return true;
}

std::shared_ptr<Connection> LivePlayer::Connected() const {
    MutexLock lock(mutex_);
    return connection_;
}

PlayerInfo LivePlayer::Describe() const {
    return card_.Describe(Counts());
}

SendCounts LivePlayer::Counts() const {
    const auto connection = Connected();
    return connection == nullptr ? SendCounts() : connection->Counts();
}

void LivePlayer::Close(const std::string& reason) {
    if (const auto connection = Connected())
        connection->AskToEnd(reason);
}

}  // namespace vms::host
