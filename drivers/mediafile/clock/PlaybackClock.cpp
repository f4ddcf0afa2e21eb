#include "drivers/mediafile/clock/PlaybackClock.h"

#include <algorithm>

namespace vms::mediafile {
namespace {

constexpr std::chrono::seconds kLongestHold{1};

}  // namespace

void PlaybackClock::Load(int64_t beginMs, int64_t endMs, int64_t positionMs, State state) {
    MutexLock lock(mutex_);
    beginMs_ = beginMs;
    endMs_ = endMs;
    state_ = state;
    BeginEpoch(positionMs);
}

void PlaybackClock::Stop() {
    MutexLock lock(mutex_);
    state_ = State::kStopped;
    BeginEpoch(beginMs_);
}

void PlaybackClock::Pause() {
    MutexLock lock(mutex_);
    if (state_ != State::kRunning)
        return;
    MoveTo(Position());
    state_ = State::kPaused;
    changed_.NotifyAll();
}

void PlaybackClock::Resume() {
    MutexLock lock(mutex_);
    if (state_ != State::kPaused)
        return;
    MoveTo(timeline_.AnchorMs());
    state_ = State::kRunning;
    holdUntil_ = Now() + kLongestHold;
    Settle();
    changed_.NotifyAll();
}

void PlaybackClock::SetSpeed(PlaybackSpeed speed) {
    MutexLock lock(mutex_);
    const bool picksUp = timeline_.Speed().KeyFramesOnly() && !speed.KeyFramesOnly();
    MoveTo(Position());
    timeline_.SetSpeed(speed);
    if (picksUp)
        BeginEpoch(timeline_.AnchorMs());
    changed_.NotifyAll();
}

void PlaybackClock::Seek(int64_t positionMs) {
    MutexLock lock(mutex_);
    if (state_ != State::kStopped)
        BeginEpoch(positionMs);
}

void PlaybackClock::Poke() {
    MutexLock lock(mutex_);
    changed_.NotifyAll();
}

PlaybackClock::View PlaybackClock::GetView() {
    MutexLock lock(mutex_);
    return {epoch_, state_, beginMs_, endMs_, Position()};
}

PlaybackSpeed PlaybackClock::Speed() {
    MutexLock lock(mutex_);
    return timeline_.Speed();
}

PlaybackClock::Wake PlaybackClock::WaitUntil(const Member& member, uint64_t epoch, int64_t mediaMs,
                                             bool afterGap, const std::atomic<bool>& stop) {
    MutexLock lock(mutex_);
    if (afterGap)
        seats_[member.id_].idleUntil = mediaMs;
    return WaitSeated(member.id_, epoch, mediaMs, stop);
}

PlaybackClock::Wake PlaybackClock::WaitChange(const Member& member, uint64_t epoch,
                                              const std::atomic<bool>& stop) {
    MutexLock lock(mutex_);
    seats_[member.id_].idleUntil = kNever;
    return WaitSeated(member.id_, epoch, kNever, stop);
}

PlaybackClock::Wake PlaybackClock::WaitSeated(int id, uint64_t epoch, int64_t mediaMs,
                                              const std::atomic<bool>& stop) {
    // What lies before the place is still on its way; beyond it the member has found the place.
    if (mediaMs > Position())
        seats_[id].readyEpoch = epoch;
    std::optional<Wake> wake;
    for (Settle(); !(wake = Decide(epoch, mediaMs, stop)); Settle())
        Block(mediaMs);
    seats_[id].idleUntil.reset();
    return *wake;
}

PlaybackClock::Wake PlaybackClock::WaitRunning(uint64_t epoch, const std::atomic<bool>& stop) {
    MutexLock lock(mutex_);
    for (;;) {
        if (const auto wake = Decide(epoch, kNever, stop))
            return *wake;
        if (state_ == State::kRunning)
            return Wake::kDue;
        changed_.Wait(mutex_);
    }
}

PlaybackClock::Wake PlaybackClock::Sleep(std::chrono::milliseconds time, uint64_t epoch,
                                         const std::atomic<bool>& stop) {
    const TimePoint until = Now() + time;
    MutexLock lock(mutex_);
    for (;;) {
        if (const auto wake = Decide(epoch, kNever, stop))
            return *wake;
        if (Now() >= until)
            return Wake::kDue;
        changed_.WaitUntil(mutex_, until);
    }
}

void PlaybackClock::SlipTo(uint64_t epoch, int64_t mediaMs) {
    MutexLock lock(mutex_);
    if (epoch == epoch_ && mediaMs < Position())
        MoveTo(mediaMs);
}

int PlaybackClock::Join() {
    MutexLock lock(mutex_);
    seats_[++lastSeat_] = {};
    return lastSeat_;
}

void PlaybackClock::Leave(int id) {
    MutexLock lock(mutex_);
    seats_.erase(id);
    Settle();
}

std::optional<PlaybackClock::Wake> PlaybackClock::Decide(uint64_t epoch, int64_t mediaMs,
                                                         const std::atomic<bool>& stop) {
    if (stop)
        return Wake::kStopped;
    if (epoch != epoch_)
        return Wake::kChanged;
    if (state_ != State::kStopped && mediaMs <= Position())
        return Wake::kDue;
    return std::nullopt;
}

void PlaybackClock::Block(int64_t mediaMs) {
    if (state_ == State::kRunning && held_)
        changed_.WaitUntil(mutex_, holdUntil_);
    else if (Moves() && mediaMs < endMs_)
        changed_.WaitUntil(mutex_, timeline_.When(mediaMs));
    else
        changed_.Wait(mutex_);
}

bool PlaybackClock::Moves() const {
    return state_ == State::kRunning && !held_;
}

int64_t PlaybackClock::Position() const {
    return std::min(Moves() ? timeline_.At(Now()) : timeline_.AnchorMs(), endMs_);
}

void PlaybackClock::MoveTo(int64_t mediaMs) {
    timeline_.Anchor(Now(), mediaMs);
}

void PlaybackClock::BeginEpoch(int64_t positionMs) {
    ++epoch_;
    MoveTo(std::clamp(positionMs, beginMs_, std::max(beginMs_, endMs_)));
    held_ = true;
    holdUntil_ = Now() + kLongestHold;
    changed_.NotifyAll();
}

/// Ends the hold when its time has come, and jumps over what nobody has media for.
void PlaybackClock::Settle() {
    if (state_ != State::kRunning)
        return;
    if (held_ && (AllReady() || Now() >= holdUntil_)) {
        held_ = false;
        MoveTo(timeline_.AnchorMs());
        changed_.NotifyAll();
    }
    const std::optional<int64_t> next = NextForAll();
    if (!held_ && next && *next > Position() && *next < endMs_) {
        MoveTo(*next);
        changed_.NotifyAll();
    }
}

bool PlaybackClock::AllReady() const {
    for (const auto& [id, seat] : seats_) {
        if (seat.readyEpoch != epoch_)
            return false;
    }
    return !seats_.empty();
}

std::optional<int64_t> PlaybackClock::NextForAll() const {
    int64_t next = kNever;
    for (const auto& [id, seat] : seats_) {
        if (!seat.idleUntil)
            return std::nullopt;
        next = std::min(next, *seat.idleUntil);
    }
    return next == kNever ? std::nullopt : std::optional(next);
}

}  // namespace vms::mediafile
