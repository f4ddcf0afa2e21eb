#include "host/players/whep/WhepOutlet.h"

#include <utility>

namespace vms::host {
namespace {

constexpr char kChanged[] = "the stream has changed";

bool IsPicture(const MediaUnit& unit) {
    return unit.Kind() != UnitKind::kOther;
}

}  // namespace

WhepOutlet::WhepOutlet(std::shared_ptr<whep::Session> session, MediaCodec sound, Over over,
                       const SendLimits& limits)
    : sound_(sound), over_(std::move(over)), session_(std::move(session)), policy_(limits) {}

void WhepOutlet::Leave() {
    MutexLock lock(mutex_);
    hasBegun_ = false;
    group_.clear();
}

void WhepOutlet::Stop() {
    std::shared_ptr<whep::Session> session;  // goes after the lock
    MutexLock lock(mutex_);
    isOver_ = true;
    group_.clear();
    session.swap(session_);
}

void WhepOutlet::Begin() {
    MutexLock lock(mutex_);
    const std::vector<MediaUnit> group = std::exchange(group_, {});
    hasBegun_ = true;
    policy_.Begin(group.empty());
    const auto now = WhepClock::Time::clock::now();
    for (size_t i = 0; i < group.size() && !isOver_; ++i)
        Send(group[i], clock_.Before(static_cast<int>(group.size() - 1 - i),
                                     group.back().Header().timestampMs, now));
}

void WhepOutlet::Take(const MediaUnit& unit) {
    MutexLock lock(mutex_);
    ++takenUnits_;
    if (isOver_ || !Fits(unit))
        return;
    if (hasBegun_)
        SendLive(unit);
    else if (IsPicture(unit))  // the sound of pictures that are shown in an instant is none
        group_.push_back(unit);
}

/// Whether the browser takes it.
bool WhepOutlet::Fits(const MediaUnit& unit) {
    if (unit.Payload().empty())
        return false;
    const MediaCodec codec = unit.Header().Codec();
    if (!IsPicture(unit))
        return sound_ != MediaCodec::kUnknown && codec == sound_;
    if (codec != MediaCodec::kH264)
        BreakOff(kChanged);
    return codec == MediaCodec::kH264;
}

void WhepOutlet::SendLive(const MediaUnit& unit) {
    const SendVerdict verdict = policy_.Admit(unit.Kind(), session_->WaitingBytes(), 0);
    if (verdict == SendVerdict::kTooSlow)
        BreakOff("the player is too slow");
    else if (verdict == SendVerdict::kDropped)
        ++counts_.droppedUnits;
    else if (verdict == SendVerdict::kAccepted)
        Send(unit,
             clock_.At(unit.Header().timestampMs, IsPicture(unit), WhepClock::Time::clock::now()));
}

void WhepOutlet::Send(const MediaUnit& unit, int64_t timeMs) {
    ++counts_.sentUnits;
    counts_.sentBytes += unit.Bytes().size();
    session_->Push(unit, timeMs);
}

void WhepOutlet::BreakOff(const std::string& reason) {
    isOver_ = true;
    over_(reason);
}

OutletCounts WhepOutlet::Counts() const {
    MutexLock lock(mutex_);
    return {hasBegun_ && !isOver_ ? size_t{1} : size_t{0}, takenUnits_};
}

SendCounts WhepOutlet::Sent() const {
    MutexLock lock(mutex_);
    SendCounts counts = counts_;
    counts.queuedBytes = session_ == nullptr ? 0 : session_->WaitingBytes();
    return counts;
}

}  // namespace vms::host
