#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "sim/httpdevice/media/MediaClock.h"
#include "sim/httpdevice/media/OutMessage.h"
#include "sim/httpdevice/media/Timeline.h"
#include "sim/httpdevice/media/Track.h"

namespace vms::sim::httpdevice {

/// How a stream treats time.
enum class StreamMode {
    kLive,      ///< without end
    kPlayback,  ///< paced; jumps over what is not recorded, taking its clock along
    kDownload,  ///< as fast as it is asked
    kSync,      ///< paced by a clock of others; silent where nothing is recorded
};

/// What a recorded stream plays; times in milliseconds since the epoch.
struct RecordedWindow {
    std::shared_ptr<const Timeline> timeline;
    int64_t beginMs = 0;
    int64_t endMs = 0;
    int fileType = 0;
};

/// The frames of one channel in their order, framed for the wire. Used by one thread at a time;
/// time is the caller's.
class MediaStream {
public:
    /// @param window unused for Live
    MediaStream(StreamMode mode, TrackPair tracks, RecordedWindow window,
                std::shared_ptr<MediaClock> clock, Clock::time_point now);

    /// Appends what is due, at most about `budget` bytes; for Download everything is due.
    void Take(Clock::time_point now, size_t budget, std::vector<OutMessage>& out);
    /// When Take() has something next; `now` when at once, max() when it cannot be said.
    Clock::time_point NextDue(Clock::time_point now) const;

    /// All frames of the window have been taken. A seek undoes it.
    bool finished() const { return finished_; }
    /// Drops frames until the next key frame: the receiver does not keep up.
    void SkipToKey() { needKey_ = true; }

    StreamMode mode() const { return mode_; }
    MediaClock& clock() { return *clock_; }
    const RecordedWindow& window() const { return window_; }

private:
    void Place(int64_t mediaMs);
    void FollowSeek(const MediaClock::View& view);
    bool SkipGap(Clock::time_point now, int64_t limitMs);
    int64_t NextMs() const;
    int64_t VideoMs() const { return nextVideo_ * tracks_.video->frameMs; }
    int64_t AudioMs() const;
    void TakeVideo(const MediaClock::View& view, std::vector<OutMessage>& out);
    void TakeAudio(const MediaClock::View& view, std::vector<OutMessage>& out);
    OutMessage Frame(const Track& track, int64_t number);

    const StreamMode mode_;
    const TrackPair tracks_;
    const RecordedWindow window_;
    const std::shared_ptr<MediaClock> clock_;

    int64_t nextVideo_ = 0;
    int64_t nextAudio_ = 0;
    uint32_t serial_ = 0;
    uint16_t generation_ = 0;
    bool needKey_ = true;
    bool finished_ = false;
};

}  // namespace vms::sim::httpdevice
