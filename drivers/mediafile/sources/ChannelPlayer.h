#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "drivers/mediafile/clock/PlaybackClock.h"
#include "drivers/mediafile/sources/SourceThread.h"
#include "drivers/mediafile/sources/UnitSender.h"
#include "media/packet/MediaPacket.h"
#include "media/recording/RecordingCursor.h"
#include "media/recording/RecordingIndex.h"
#include "platform/Mutex.h"

namespace vms::mediafile {

/// What a player is to send, and to whom.
struct PlayJob {
    std::string key;
    IStreamCallback* sink = nullptr;  ///< not owned
    int channel = 0;
    int fileTypes = 0;            ///< mask, 0 = all
    bool download = false;        ///< as fast as it is taken instead of by the clock
    const char* endMessage = "";  ///< told after the last unit; a literal
};

/// Sends a channel's recordings by a clock, which says what range and where in it. Owns the thread
/// that does it. Thread-safe.
///
/// Timestamps count the milliseconds since the beginning of the clock's range. Sound is sent at
/// normal speed only, and only key pictures at speeds above four.
class ChannelPlayer {
public:
    ChannelPlayer(std::shared_ptr<const RecordingIndex> index,
                  std::shared_ptr<SourceRegistry> registry, std::shared_ptr<PlaybackClock> clock);

    /// Sets the job; takes effect with the clock's next epoch. Call before the clock is loaded.
    void Assign(PlayJob job) VMS_EXCLUDES(mutex_);
    /// Starts the thread unless it runs. @return false after Cancel
    bool Start();
    /// Takes the thread away from the clock: nothing is sent until Return. Does not wait.
    void Leave() VMS_EXCLUDES(mutex_);
    /// Has the thread join the clock again, where the clock is by then.
    void Return() VMS_EXCLUDES(mutex_);
    /// Ends the thread, for good; does not wait.
    void Cancel() { thread_.RequestStop(); }
    bool Closed() const { return thread_.Closed(); }

private:
    using Job = std::shared_ptr<const PlayJob>;
    using Wake = PlaybackClock::Wake;

    /// The thread's time at the clock, from joining to leaving it.
    struct Seat {
        std::atomic<bool> left{false};  ///< for good: whoever returns gets another seat
    };

    /// One pass over the range within one epoch of the clock.
    struct Pass {
        const PlaybackClock::View& view;
        const PlaybackClock::Member& member;
        const PlayJob& job;
        UnitSender& sender;
        const std::atomic<bool>& stop;
    };

    Job CurrentJob() VMS_EXCLUDES(mutex_);
    void Stop() VMS_EXCLUDES(mutex_);
    void GetUp() VMS_REQUIRES(mutex_);
    std::shared_ptr<const Seat> WaitForSeat() VMS_EXCLUDES(mutex_);
    void Run();
    void RunSeated(const std::atomic<bool>& left);
    Wake Play(const Pass& pass);
    Wake WaitForTurn(const Pass& pass, const MediaPacket& packet, bool afterGap);
    Wake WaitForRoom(const Pass& pass, int64_t timeMs);
    bool IsWanted(const PlayJob& job, const MediaPacket& packet);

    const std::shared_ptr<const RecordingIndex> index_;
    const std::shared_ptr<PlaybackClock> clock_;

    Mutex mutex_;
    CondVar changed_;
    Job job_ VMS_GUARDED_BY(mutex_);
    std::shared_ptr<Seat> seat_ VMS_GUARDED_BY(mutex_) = std::make_shared<Seat>();  ///< null = away
    bool stopped_ VMS_GUARDED_BY(mutex_) = false;

    Job playing_;                       ///< player's thread only, as is what follows
    std::optional<UnitSender> sender_;  ///< for `playing_`

    SourceThread thread_;
};

}  // namespace vms::mediafile
