#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>

#include "drivers/mediafile/clock/MediaTimeline.h"
#include "platform/Mutex.h"

namespace vms::mediafile {

/// The clock that one or several threads send recorded media by. Thread-safe.
///
/// A new range or place begins a new epoch: every thread sees kChanged, looks for its new place and
/// waits again. Until all have done so the clock holds still (for a second at most), so that what
/// lies before the place goes out at once and everything after it in step. Where all threads have
/// nothing to send the clock jumps to the next medium.
///
/// Media times are ms in whatever count the user has chosen.
class PlaybackClock {
public:
    using TimePoint = MediaTimeline::TimePoint;

    enum class State { kStopped, kPaused, kRunning };
    enum class Wake {
        kDue,      ///< the time has come
        kChanged,  ///< another epoch has begun
        kStopped,  ///< the thread shall end
    };

    struct View {
        uint64_t epoch = 0;
        State state = State::kStopped;
        int64_t beginMs = 0;
        int64_t endMs = 0;
        int64_t positionMs = 0;
    };

    /// A thread's seat at the clock, for as long as it sends. Thread-bound.
    class Member {
    public:
        explicit Member(PlaybackClock& clock) : clock_(clock), id_(clock.Join()) {}
        ~Member() { clock_.Leave(id_); }
        Member(const Member&) = delete;
        Member& operator=(const Member&) = delete;

    private:
        friend class PlaybackClock;
        PlaybackClock& clock_;
        const int id_;
    };

    // Control. None of these waits for a member.

    /// A new range, at a place in it.
    void Load(int64_t beginMs, int64_t endMs, int64_t positionMs, State state) VMS_EXCLUDES(mutex_);
    void Stop() VMS_EXCLUDES(mutex_);
    void Pause() VMS_EXCLUDES(mutex_);
    void Resume() VMS_EXCLUDES(mutex_);
    /// Keeps the place; leaving the speeds of key pictures begins a new epoch there.
    void SetSpeed(PlaybackSpeed speed) VMS_EXCLUDES(mutex_);
    /// Goes to a place, moved into the range. Nothing while stopped.
    void Seek(int64_t positionMs) VMS_EXCLUDES(mutex_);
    /// Makes members look at their stop flags.
    void Poke() VMS_EXCLUDES(mutex_);

    View GetView() VMS_EXCLUDES(mutex_);
    PlaybackSpeed Speed() VMS_EXCLUDES(mutex_);

    // For members.

    /// Waits until the clock has reached a media time.
    /// @param afterGap nothing lies before that time: the clock may jump to it
    Wake WaitUntil(const Member& member, uint64_t epoch, int64_t mediaMs, bool afterGap,
                   const std::atomic<bool>& stop) VMS_EXCLUDES(mutex_);

    /// Waits for another epoch, having nothing more to send in this one.
    Wake WaitChange(const Member& member, uint64_t epoch, const std::atomic<bool>& stop)
        VMS_EXCLUDES(mutex_);

    /// Waits while paused, otherwise returns at once.
    Wake WaitRunning(uint64_t epoch, const std::atomic<bool>& stop) VMS_EXCLUDES(mutex_);

    /// Waits for a while of running time.
    Wake Sleep(std::chrono::milliseconds time, uint64_t epoch, const std::atomic<bool>& stop)
        VMS_EXCLUDES(mutex_);

    /// Sets the clock back to a place that the only member has fallen behind to.
    void SlipTo(uint64_t epoch, int64_t mediaMs) VMS_EXCLUDES(mutex_);

private:
    struct Seat {
        uint64_t readyEpoch = 0;           ///< the epoch whose place the member has found
        std::optional<int64_t> idleUntil;  ///< set while it has nothing to send before a time
    };

    static constexpr int64_t kNever = INT64_MAX;

    int Join() VMS_EXCLUDES(mutex_);
    void Leave(int id) VMS_EXCLUDES(mutex_);
    Wake WaitSeated(int id, uint64_t epoch, int64_t mediaMs, const std::atomic<bool>& stop)
        VMS_REQUIRES(mutex_);
    std::optional<Wake> Decide(uint64_t epoch, int64_t mediaMs, const std::atomic<bool>& stop)
        VMS_REQUIRES(mutex_);
    void Block(int64_t mediaMs) VMS_REQUIRES(mutex_);

    TimePoint Now() const { return std::chrono::steady_clock::now(); }
    bool Moves() const VMS_REQUIRES(mutex_);
    int64_t Position() const VMS_REQUIRES(mutex_);
    void MoveTo(int64_t mediaMs) VMS_REQUIRES(mutex_);
    void BeginEpoch(int64_t positionMs) VMS_REQUIRES(mutex_);
    void Settle() VMS_REQUIRES(mutex_);
    bool AllReady() const VMS_REQUIRES(mutex_);
    std::optional<int64_t> NextForAll() const VMS_REQUIRES(mutex_);

    Mutex mutex_;
    CondVar changed_;
    State state_ VMS_GUARDED_BY(mutex_) = State::kStopped;
    uint64_t epoch_ VMS_GUARDED_BY(mutex_) = 1;
    int64_t beginMs_ VMS_GUARDED_BY(mutex_) = 0;
    int64_t endMs_ VMS_GUARDED_BY(mutex_) = 0;
    MediaTimeline timeline_ VMS_GUARDED_BY(mutex_);
    bool held_ VMS_GUARDED_BY(mutex_) = false;
    TimePoint holdUntil_ VMS_GUARDED_BY(mutex_);
    int lastSeat_ VMS_GUARDED_BY(mutex_) = 0;
    std::map<int, Seat> seats_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::mediafile
