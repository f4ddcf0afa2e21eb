#include "host/players/rtsp/RtspFeed.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "host/players/rtsp/WallClock.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

/// A step ahead on the line that is a gap between recordings, us.
constexpr int64_t kForward = 3'000'000;
/// More than this makes sources wait.
constexpr int kWait = 1000;
/// A unit that continues what came before lies no further ahead, ms.
constexpr int64_t kStep = 1000;
/// No group of pictures that leads up to what is sought is taken to be longer, ms.
constexpr int64_t kLongestGroup = 5000;
/// A source that has not gone where it should by then goes its own way.
constexpr std::chrono::milliseconds kSeekPatience(1500);
/// An end that comes after a seek, and nothing else, is that of what was sought.
constexpr std::chrono::seconds kEndPatience(1);

bool Has(unsigned tracks, int track) {
    return (tracks >> track & 1) != 0;
}

}  // namespace

RtspFeed::RtspFeed(const PlaybackRequest& request, RtspSource::Ready ready, ILogHandler& log)
    : request_(request), log_(log), ready_(std::move(ready)) {}

void RtspFeed::OnOpen(std::shared_ptr<Playback> playback, const SourceProblem& problem) {
    MutexLock lock(mutex_);
    if (playback == nullptr) {
        TellReady(problem.status, problem.text);
    } else if (state_ == State::kOver) {
        lock.Unlock();  // it ends with the pointer
    } else {
        playback_ = std::move(playback);
        if (stream_ != nullptr)
            TellReady(200, "");
    }
}

void RtspFeed::TellReady(int status, const std::string& text) {
    if (const auto ready = std::exchange(ready_, nullptr))
        ready(status, text);
}

void RtspFeed::Tick() {
    MutexLock lock(mutex_);
    if (state_ == State::kProbing && probe_.Settle())
        Describe();
    // There was nothing where it was sought.
    if (state_ == State::kFlowing && isEnded_ && seek_ &&
        Clock::now() - seek_->since >= kEndPatience) {
        seek_.reset();
        SayFarewell();
    }
}

void RtspFeed::Close() {
    std::shared_ptr<Playback> playback;  // goes after the lock
    std::vector<MediaUnit> held;
    MutexLock lock(mutex_);
    state_ = State::kOver;
    ready_ = nullptr;
    playback = std::exchange(playback_, nullptr);
    held.swap(held_);
    delayed_ = {};
    order_ = {};
}

void RtspFeed::Describe() {
    state_ = State::kHeld;
    try {
        stream_ = std::make_unique<RtpStream>(probe_.Pictures(), probe_.Sound(), kForward);
        for (const MediaUnit& unit : probe_.TakeKept())
            Hold(unit);
        if (playback_ != nullptr)
            TellReady(200, "");
    } catch (const std::exception& error) {
        stream_ = nullptr;
        TellReady(415, error.what());
    }
}

void RtspFeed::Hold(const MediaUnit& unit) {
    if (held_.size() >= kMostHeld || heldBytes_ >= kMostHeldBytes) {
        hasLost_ = true;
        return;
    }
    held_.push_back(unit);
    heldBytes_ += unit.Bytes().size();
}

std::vector<std::string> RtspFeed::Descriptions() const {
    MutexLock lock(mutex_);
    std::vector<std::string> descriptions;
    for (size_t i = 0; stream_ != nullptr && i < stream_->Tracks(); ++i)
        descriptions.push_back(stream_->Track(i).Description());
    return descriptions;
}

uint32_t RtspFeed::TrackSource(size_t track) const {
    MutexLock lock(mutex_);
    return stream_ != nullptr && track < stream_->Tracks() ? stream_->Track(track).Source() : 0;
}

int RtspFeed::Play(const RtspPlayOrder& order, const RtspSource::AnswerText& answer) {
    MutexLock lock(mutex_);
    if (stream_ == nullptr || playback_ == nullptr || state_ == State::kOver)
        return 503;
    const RtspRange& range = order.range;
    const int64_t base = range.isClock ? int64_t{request_.from} * 1000 : 0;
    const int64_t position = isFresh_ ? 0 : lastMs_;
    const int64_t asked = range.startMs ? std::max<int64_t>(*range.startMs - base, 0) : position;
    if (asked >= DurationMs())
        return 457;
    const bool goes = range.startMs && (!isFresh_ || asked > 0);
    if (order_.player != nullptr && !goes)
        SendDelayed(false);
    order_ = order;
    stream_->Begin(asked, RtspScaleOf(order.speed));
    if (goes || hasLost_ || isEnded_)
        GoTo(asked);
    if (std::exchange(speed_, order.speed) != order.speed || (goes && order.speed != 1))
        playback_->SetSpeed(order.speed);
    if (std::exchange(isPaused_, false))
        playback_->Resume();
    isFresh_ = false;
    RtspPlayResult result{
        RtspRangeText(range.isClock, base + asked, base + DurationMs()), order.speed, {}};
    for (size_t i = 0; i < stream_->Tracks(); ++i)
        result.starts.push_back(stream_->NextOf(i));
    order.player->Answer(answer(result));
    Flow();
    return 200;
}

void RtspFeed::GoTo(int64_t askedMs) {
    held_.clear();
    heldBytes_ = 0;
    hasLost_ = false;
    isEnded_ = false;
    delayed_ = {};
    seek_ = Seek{askedMs, Clock::now()};
    playback_->Seek(request_.from + askedMs / 1000);
}

/// Lets go of what has been held back.
void RtspFeed::Flow() {
    state_ = State::kFlowing;
    for (const MediaUnit& unit : std::exchange(held_, {}))
        Pass(unit);
    heldBytes_ = 0;
    if (isEnded_)
        SayFarewell();
}

void RtspFeed::Pause() {
    MutexLock lock(mutex_);
    if (state_ != State::kFlowing || playback_ == nullptr)
        return;
    state_ = State::kHeld;
    isPaused_ = true;
    playback_->Pause();
}

bool RtspFeed::Take(const MediaUnit& unit) {
    MutexLock lock(mutex_);
    switch (state_) {
        case State::kProbing:
            probe_.Take(unit);
            if (probe_.IsKnown())
                Describe();
            return true;
        case State::kHeld:
            Hold(unit);
            return true;
        case State::kFlowing:
            Pass(unit);
            return order_.player != nullptr && !order_.player->IsGone();
        case State::kOver:
            break;
    }
    return false;
}

/// ms since the beginning; the unit's own time wraps.
int64_t RtspFeed::TimeOf(const MediaUnit& unit) const {
    const auto step = unit.Header().timestampMs - static_cast<uint32_t>(lastMs_);
    return lastMs_ + static_cast<int32_t>(step);
}

/// Whether what was sought begins here: at a key picture that does not continue what came before,
/// or leads up to it.
bool RtspFeed::IsSought(const MediaUnit& unit) {
    const int64_t last = lastMs_;
    const int64_t time = unit.Header().timestampMs;  // a seek may go anywhere
    lastMs_ = time;
    const bool canBegin = unit.Kind() == UnitKind::kKeyPicture || probe_.Pictures() == nullptr;
    if (!canBegin)
        return false;
    const int64_t ahead = seek_->askedMs - time;
    const bool continues = time >= last && time - last <= kStep;
    return !continues || (ahead >= 0 && ahead <= kLongestGroup) ||
           Clock::now() - seek_->since >= kSeekPatience;
}

void RtspFeed::Pass(const MediaUnit& unit) {
    if (seek_) {
        if (!IsSought(unit))
            return;
        seek_.reset();
        isEnded_ = false;
    }
    lastMs_ = TimeOf(unit);
    const std::optional<int> track = stream_->TrackOf(unit);
    if (!track || !Has(order_.tracks, *track))
        return;
    if (order_.wantsEnds)
        Delay(*track, unit, lastMs_);
    else
        SendUnit(unit, MarkOf(unit, lastMs_));
}

ReplayMark RtspFeed::MarkOf(const MediaUnit& unit, int64_t time) const {
    ReplayMark mark;
    mark.unixUs = (int64_t{request_.from} * 1000 + time) * 1000;
    mark.isClean = unit.Kind() != UnitKind::kPicture;
    mark.request = order_.request;
    return mark;
}

/// The track's unit before this one goes, now that it is known what follows.
void RtspFeed::Delay(int track, const MediaUnit& unit, int64_t time) {
    auto& place = delayed_[static_cast<size_t>(track)];
    if (const auto before = std::exchange(place, Delayed{unit, time})) {
        const auto step = static_cast<double>((time - before->time) * 1000);
        ReplayMark mark = MarkOf(before->unit, before->time);
        mark.isSectionEnd = step < 0 || step / RtspScaleOf(order_.speed) > kForward;
        SendUnit(before->unit, mark);
    }
}

void RtspFeed::SendUnit(const MediaUnit& unit, ReplayMark mark) {
    try {
        if (auto packed = stream_->Pack(unit, UnixUs(), mark))
            order_.player->SendWhole(std::move(packed->packets), unit.Kind());
    } catch (const std::exception& error) {
        log_.Log(2, "Rtsp", "a unit is left out: %s", error.what());
    }
}

int RtspFeed::QueuedUnits() const {
    MutexLock lock(mutex_);
    if (state_ == State::kHeld)
        return kWait;
    return order_.player == nullptr ? 0 : static_cast<int>(order_.player->Counts().queuedUnits);
}

void RtspFeed::End(bool isWhole, const std::string& reason) {
    MutexLock lock(mutex_);
    if (state_ == State::kProbing && probe_.Settle())
        Describe();
    TellReady(isWhole ? 404 : 503, isWhole ? "nothing was recorded then" : reason);
    isEnded_ = true;
    // With a seek under way it may be the end of what was played before.
    if (state_ != State::kFlowing || (seek_ && isWhole))
        return;
    SayFarewell();
    if (!isWhole && order_.player != nullptr)
        order_.player->Close(reason);
}

void RtspFeed::SayFarewell() {
    if (order_.player == nullptr || stream_ == nullptr)
        return;
    SendDelayed(true);
    order_.player->SendControl(stream_->Farewells(order_.tracks, UnixUs()));
}

void RtspFeed::SendDelayed(bool isEnd) {
    for (auto& place : delayed_) {
        if (const auto last = std::exchange(place, std::nullopt)) {
            ReplayMark mark = MarkOf(last->unit, last->time);
            mark.isSectionEnd = mark.isTerminal = isEnd;
            SendUnit(last->unit, mark);
        }
    }
}

}  // namespace vms::host
