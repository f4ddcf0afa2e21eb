#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "host/http/HttpExchange.h"
#include "host/players/PlayerCard.h"
#include "host/players/PlayerContext.h"
#include "host/players/PlayerTable.h"
#include "host/players/http/MediaTarget.h"
#include "host/sources/PlaybackStreams.h"
#include "media/audio/SoundTranscoder.h"
#include "media/mux/LiveMuxer.h"
#include "platform/Mutex.h"

namespace vms::host {

/// One player of a recording over HTTP: the source's units in a container of its own, given out as
/// the player takes them. The source pauses while too many wait. Thread-safe.
class PlaybackPlayer final : public PlaybackSink,
                             public Player,
                             public std::enable_shared_from_this<PlaybackPlayer> {
public:
    using Clock = std::chrono::steady_clock;

    /// So long it waits for the first picture.
    static constexpr std::chrono::seconds kPatience{15};
    /// What a source sends nevertheless may wait up to here, bytes.
    static constexpr size_t kMostBytes = size_t{64} << 20;

    /// @param context must outlive this object
    PlaybackPlayer(PlayerContext& context, const HttpRequest& request,
                   std::shared_ptr<HttpReply> reply, StreamAddress address, LiveContainer container,
                   const MediaRange& range);

    /// Asks for the recording; everything else follows.
    void Start();

    /// Gives up waiting for a picture once the patience is over; to be called now and then.
    /// @return whether it waits no longer
    bool Sweep(Clock::time_point now) VMS_EXCLUDES(mutex_);

    // By the source:
    bool Take(const MediaUnit& unit) override VMS_EXCLUDES(mutex_);
    int QueuedUnits() const override VMS_EXCLUDES(mutex_);
    void Tell(const std::string&) override {}
    void End(bool isWhole, const std::string& reason) override VMS_EXCLUDES(mutex_);

    // As others see the player:
    long long Number() const override { return card_.number; }
    PlayerInfo Describe() const override VMS_EXCLUDES(mutex_);
    SendCounts Counts() const override VMS_EXCLUDES(mutex_);
    void Close(const std::string& reason) override VMS_EXCLUDES(mutex_);

private:
    class Body;

    enum class State {
        kAsking,  ///< nothing has been answered
        kPlaying,
        kEnded,   ///< what waits is the rest
        kBroken,  ///< the same, but it is not whole
        kOver,
    };

    void Opened(std::shared_ptr<Playback> playback, const SourceProblem& problem)
        VMS_EXCLUDES(mutex_);
    void Mux(const MediaUnit& unit) VMS_REQUIRES(mutex_);
    void Keep() VMS_REQUIRES(mutex_);
    void Proceed() VMS_EXCLUDES(mutex_);
    void Refuse(const SourceProblem& problem) VMS_EXCLUDES(mutex_);
    void Pull(HttpBody::Sink sink) VMS_EXCLUDES(mutex_);
    std::string NextPiece() VMS_REQUIRES(mutex_);
    void Leave() VMS_EXCLUDES(mutex_);

    PlayerContext& context_;
    const std::shared_ptr<HttpReply> reply_;
    const PlayerCard card_;
    const LiveContainer container_;
    const MediaRange range_;
    const Clock::time_point begun_;

    mutable Mutex mutex_;
    State state_ VMS_GUARDED_BY(mutex_) = State::kAsking;
    bool hasBody_ VMS_GUARDED_BY(mutex_) = false;  ///< the answer has begun
    std::shared_ptr<Playback> playback_ VMS_GUARDED_BY(mutex_);
    SoundTranscoder transcoder_ VMS_GUARDED_BY(mutex_);
    LiveMuxer muxer_ VMS_GUARDED_BY(mutex_);
    int beginnings_ VMS_GUARDED_BY(mutex_) = 0;
    MediaCodec pictures_ VMS_GUARDED_BY(mutex_) = MediaCodec::kUnknown;
    std::vector<LivePiece> made_ VMS_GUARDED_BY(mutex_);
    std::deque<std::string> pieces_ VMS_GUARDED_BY(mutex_);
    size_t taken_ VMS_GUARDED_BY(mutex_) = 0;  ///< bytes of the first piece
    HttpBody::Sink pull_ VMS_GUARDED_BY(mutex_);
    SendCounts counts_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
