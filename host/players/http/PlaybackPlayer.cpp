#include "host/players/http/PlaybackPlayer.h"

#include <algorithm>
#include <utility>

#include "host/players/http/MediaAnswers.h"
#include "host/stream/ReceiverTable.h"

namespace vms::host {

/// The answer's body, whose end is the player's.
class PlaybackPlayer::Body final : public HttpBody {
public:
    explicit Body(std::shared_ptr<PlaybackPlayer> player) : player_(std::move(player)) {}
    ~Body() override { player_->Leave(); }

    std::optional<uint64_t> Length() const override { return std::nullopt; }
    void Pull(Sink sink) override { player_->Pull(std::move(sink)); }

private:
    const std::shared_ptr<PlaybackPlayer> player_;
};

PlaybackPlayer::PlaybackPlayer(PlayerContext& context, const HttpRequest& request,
                               std::shared_ptr<HttpReply> reply, StreamAddress address,
                               LiveContainer container, const MediaRange& range)
    : context_(context),
      reply_(std::move(reply)),
      card_{context.receivers.NextNumber(),
            {request.peerAddress, request.peerPort},
            std::move(address),
            container == LiveContainer::kTransportStream ? "play.ts" : "play.mp4"},
      container_(container),
      range_(range),
      begun_(Clock::now()),
      muxer_(container, range.speed) {}

void PlaybackPlayer::Start() {
    if (!context_.players.Add(shared_from_this())) {
        Refuse({503, "the host is ending"});
        return;
    }
    reply_->OnGone([self = shared_from_this()] { self->Leave(); });
    PlaybackRequest request;
    request.device = card_.address.device;
    request.channel = card_.address.channel;
    request.stream = card_.address.stream;
    request.from = range_.from;
    request.to = range_.to;
    context_.playbacks.Open(request, shared_from_this(),
                            [self = shared_from_this()](std::shared_ptr<Playback> playback,
                                                        const SourceProblem& problem) {
                                self->Opened(std::move(playback), problem);
                            });
}

void PlaybackPlayer::Opened(std::shared_ptr<Playback> playback, const SourceProblem& problem) {
    if (playback == nullptr) {
        Refuse(problem);
        return;
    }
    if (range_.speed != 1)
        playback->SetSpeed(SourceSpeed(range_.speed));
    {
        MutexLock lock(mutex_);
        if (state_ == State::kOver)
            return;
        playback_ = std::move(playback);
        ++context_.totals.players;
    }
    Proceed();
}

bool PlaybackPlayer::Take(const MediaUnit& unit) {
    {
        MutexLock lock(mutex_);
        if (state_ != State::kAsking && state_ != State::kPlaying)
            return false;
        Mux(unit);
        Keep();
    }
    Proceed();
    MutexLock lock(mutex_);
    return state_ <= State::kPlaying;
}

void PlaybackPlayer::Mux(const MediaUnit& unit) {
    if (unit.Kind() != UnitKind::kOther)
        pictures_ = unit.Header().Codec();
    else if (range_.speed != 1)
        return;  // sound has one speed
    if (!SoundTranscoder::Takes(unit)) {
        muxer_.Take(unit, made_);
        return;
    }
    if (const auto config = transcoder_.ConfigFor(unit))
        muxer_.Expect(*config);
    std::vector<MediaUnit> frames;
    transcoder_.Take(unit, frames);
    for (const MediaUnit& frame : frames)
        muxer_.Take(frame, made_);
}

/// Has the muxer's pieces wait for the player.
void PlaybackPlayer::Keep() {
    if (muxer_.Beginnings() > beginnings_ && beginnings_ > 0) {
        state_ = State::kEnded;  // who reads this container cannot read on
        made_.clear();
        return;
    }
    if (muxer_.Beginnings() > beginnings_) {
        beginnings_ = muxer_.Beginnings();
        if (!muxer_.Head().empty())
            pieces_.push_back(muxer_.Head());
    }
    for (LivePiece& piece : made_) {
        piece.bytes.erase(0, piece.gapBytes);
        counts_.queuedBytes += piece.bytes.size();
        pieces_.push_back(std::move(piece.bytes));
    }
    made_.clear();
    if (counts_.queuedBytes > kMostBytes)
        state_ = State::kBroken;
}

int PlaybackPlayer::QueuedUnits() const {
    MutexLock lock(mutex_);
    return static_cast<int>(pieces_.size());
}

void PlaybackPlayer::End(bool isWhole, const std::string& /*reason*/) {
    {
        MutexLock lock(mutex_);
        if (state_ > State::kPlaying)
            return;
        std::vector<MediaUnit> frames;
        transcoder_.Finish(frames);
        for (const MediaUnit& frame : frames)
            muxer_.Take(frame, made_);
        muxer_.Finish(made_);
        Keep();
        if (state_ <= State::kPlaying)
            state_ = isWhole ? State::kEnded : State::kBroken;
    }
    Proceed();
}

/// Answers, or goes on with the answer, as far as that is possible now.
void PlaybackPlayer::Proceed() {
    HttpBody::Sink sink;
    std::optional<std::string> piece;
    SourceProblem problem;
    bool begins = false;
    {
        MutexLock lock(mutex_);
        if (state_ == State::kOver || playback_ == nullptr)
            return;
        if (!hasBody_ && !pieces_.empty()) {
            hasBody_ = begins = true;
            if (state_ == State::kAsking)
                state_ = State::kPlaying;
        } else if (!hasBody_ && pictures_ != MediaCodec::kUnknown &&
                   !LiveMuxer::HoldsPictures(pictures_)) {
            problem = {415, std::string("the pictures are ") + CodecName(pictures_) +
                                ", which this container does not hold"};
        } else if (!hasBody_ && state_ > State::kPlaying) {
            problem = {404, "there is no recording in that range"};
        } else if (pull_ && (!pieces_.empty() || state_ > State::kPlaying)) {
            sink = std::exchange(pull_, nullptr);
            if (!pieces_.empty() || state_ == State::kEnded)
                piece = NextPiece();
        }
    }
    if (problem.status != 0)
        Refuse(problem);
    else if (begins)
        reply_->SendBody(MediaHead(container_), std::make_unique<Body>(shared_from_this()));
    else if (sink)
        sink(std::move(piece));
}

void PlaybackPlayer::Pull(HttpBody::Sink sink) {
    {
        MutexLock lock(mutex_);
        pull_ = std::move(sink);
    }
    Proceed();
}

/// As much as one piece of a body may have; "" = nothing waits.
std::string PlaybackPlayer::NextPiece() {
    std::string next;
    while (!pieces_.empty() && next.size() < HttpBody::kMostBytes) {
        const std::string& front = pieces_.front();
        const size_t count = std::min(HttpBody::kMostBytes - next.size(), front.size() - taken_);
        next.append(front, taken_, count);
        taken_ += count;
        if (taken_ < front.size())
            break;
        pieces_.pop_front();
        taken_ = 0;
        ++counts_.sentUnits;
    }
    counts_.sentBytes += next.size();
    counts_.queuedBytes -= std::min(counts_.queuedBytes, next.size());
    return next;
}

void PlaybackPlayer::Refuse(const SourceProblem& problem) {
    reply_->Send(ProblemAnswer(problem));
    Leave();
}

bool PlaybackPlayer::Sweep(Clock::time_point now) {
    {
        MutexLock lock(mutex_);
        if (state_ != State::kAsking)
            return true;
        if (now - begun_ < kPatience || playback_ == nullptr)
            return false;
    }
    Refuse({504, "the device has sent no picture"});
    return true;
}

void PlaybackPlayer::Leave() {
    std::shared_ptr<Playback> playback;  // goes after the lock
    {
        MutexLock lock(mutex_);
        if (std::exchange(state_, State::kOver) == State::kOver)
            return;
        playback = std::move(playback_);
        pieces_.clear();
        counts_.queuedBytes = 0;
        pull_ = nullptr;
    }
    context_.players.Remove(card_.number);
}

PlayerInfo PlaybackPlayer::Describe() const {
    return card_.Describe(Counts());
}

SendCounts PlaybackPlayer::Counts() const {
    MutexLock lock(mutex_);
    SendCounts counts = counts_;
    counts.queuedUnits = pieces_.size();
    return counts;
}

void PlaybackPlayer::Close(const std::string& reason) {
    End(false, reason);
}

}  // namespace vms::host
