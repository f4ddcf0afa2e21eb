#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "drivers/mediafile/MediaPacket.h"
#include "drivers/mediafile/PlaybackClock.h"
#include "drivers/mediafile/RecordingCursor.h"
#include "drivers/mediafile/RecordingIndex.h"
#include "drivers/mediafile/SourceThread.h"
#include "drivers/mediafile/UnitSender.h"
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
    /// Ends the thread, for good; does not wait.
    void Cancel() { thread_.RequestStop(); }
    bool Closed() const { return thread_.Closed(); }

private:
    using Job = std::shared_ptr<const PlayJob>;
    using Wake = PlaybackClock::Wake;

    /// One pass over the range within one epoch of the clock.
    struct Pass {
        const PlaybackClock::View& view;
        const PlaybackClock::Member& member;
        const PlayJob& job;
        UnitSender& sender;
        const std::atomic<bool>& stop;
    };

    Job CurrentJob() VMS_EXCLUDES(mutex_);
    void Run(const std::atomic<bool>& stop);
    Wake Play(const Pass& pass);
    Wake WaitForTurn(const Pass& pass, const MediaPacket& packet, bool afterGap);
    Wake WaitForRoom(const Pass& pass, int64_t timeMs);
    bool IsWanted(const PlayJob& job, const MediaPacket& packet);

    const std::shared_ptr<const RecordingIndex> index_;
    const std::shared_ptr<PlaybackClock> clock_;

    Mutex mutex_;
    Job job_ VMS_GUARDED_BY(mutex_);

    SourceThread thread_;
};

}  // namespace vms::mediafile
