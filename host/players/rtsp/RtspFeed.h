#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/players/rtsp/RtspSource.h"
#include "host/sources/PlaybackSink.h"
#include "host/sources/PlaybackStreams.h"
#include "media/rtp/RtpProbe.h"
#include "media/rtp/RtpStream.h"
#include "platform/Mutex.h"

class ILogHandler;

namespace vms::host {

/// A recording on its way from its source to one player. It is held back until the player plays,
/// while it pauses, and after a seek until what was sought has come. Thread-safe; no call waits.
class RtspFeed final : public PlaybackSink {
public:
    /// As much is held back: a source that does not care whether units wait is sought later on.
    static constexpr size_t kMostHeld = 512;
    static constexpr size_t kMostHeldBytes = size_t{16} << 20;

    /// @param request what is played @param log must outlive the feed
    RtspFeed(const PlaybackRequest& request, RtspSource::Ready ready, ILogHandler& log);

    /// The source has been opened, or why it has not.
    void OnOpen(std::shared_ptr<Playback> playback, const SourceProblem& problem)
        VMS_EXCLUDES(mutex_);
    void Tick() VMS_EXCLUDES(mutex_);
    /// Ends the playback. Once or more often.
    void Close() VMS_EXCLUDES(mutex_);

    std::vector<std::string> Descriptions() const VMS_EXCLUDES(mutex_);
    uint32_t TrackSource(size_t track) const VMS_EXCLUDES(mutex_);

    int Play(const RtspPlayOrder& order, const RtspSource::AnswerText& answer) VMS_EXCLUDES(mutex_);
    void Pause() VMS_EXCLUDES(mutex_);

    // As the source has it:
    bool Take(const MediaUnit& unit) override VMS_EXCLUDES(mutex_);
    int QueuedUnits() const override VMS_EXCLUDES(mutex_);
    void Tell(const std::string&) override {}
    void End(bool isWhole, const std::string& reason) override VMS_EXCLUDES(mutex_);

private:
    using Clock = std::chrono::steady_clock;

    enum class State { kProbing, kHeld, kFlowing, kOver };

    /// A unit that waits to hear whether it is the last one.
    struct Delayed {
        MediaUnit unit;
        int64_t time = 0;  ///< ms since the beginning
    };

    /// A seek under way: what still comes from before it is left out.
    struct Seek {
        int64_t askedMs = 0;
        Clock::time_point since;
    };

    int64_t DurationMs() const { return (int64_t{request_.to} - request_.from) * 1000; }
    void Describe() VMS_REQUIRES(mutex_);
    void TellReady(int status, const std::string& text) VMS_REQUIRES(mutex_);
    void Hold(const MediaUnit& unit) VMS_REQUIRES(mutex_);
    void GoTo(int64_t askedMs) VMS_REQUIRES(mutex_);
    void Flow() VMS_REQUIRES(mutex_);
    bool IsSought(const MediaUnit& unit) VMS_REQUIRES(mutex_);
    void Pass(const MediaUnit& unit) VMS_REQUIRES(mutex_);
    void Delay(int track, const MediaUnit& unit, int64_t time) VMS_REQUIRES(mutex_);
    void SendDelayed(bool isEnd) VMS_REQUIRES(mutex_);
    void SendUnit(const MediaUnit& unit, ReplayMark mark) VMS_REQUIRES(mutex_);
    ReplayMark MarkOf(const MediaUnit& unit, int64_t time) const VMS_REQUIRES(mutex_);
    void SayFarewell() VMS_REQUIRES(mutex_);
    int64_t TimeOf(const MediaUnit& unit) const VMS_REQUIRES(mutex_);

    const PlaybackRequest request_;
    ILogHandler& log_;
    mutable Mutex mutex_;
    RtspSource::Ready ready_ VMS_GUARDED_BY(mutex_);  ///< null once told
    State state_ VMS_GUARDED_BY(mutex_) = State::kProbing;
    std::shared_ptr<Playback> playback_ VMS_GUARDED_BY(mutex_);
    RtpProbe probe_ VMS_GUARDED_BY(mutex_);
    std::unique_ptr<RtpStream> stream_ VMS_GUARDED_BY(mutex_);
    std::vector<MediaUnit> held_ VMS_GUARDED_BY(mutex_);
    size_t heldBytes_ VMS_GUARDED_BY(mutex_) = 0;
    bool hasLost_ VMS_GUARDED_BY(mutex_) = false;   ///< more than could be held back
    bool isFresh_ VMS_GUARDED_BY(mutex_) = true;    ///< has not been played
    bool isPaused_ VMS_GUARDED_BY(mutex_) = false;  ///< the source has been told to
    bool isEnded_ VMS_GUARDED_BY(mutex_) = false;   ///< the source has sent all
    int speed_ VMS_GUARDED_BY(mutex_) = 1;          ///< as the source has been told
    std::optional<Seek> seek_ VMS_GUARDED_BY(mutex_);
    int64_t lastMs_ VMS_GUARDED_BY(mutex_) = 0;  ///< of the newest unit that has come
    std::array<std::optional<Delayed>, RtpStream::kMostTracks> delayed_ VMS_GUARDED_BY(mutex_);
    RtspPlayOrder order_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
