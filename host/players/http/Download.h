#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/players/http/SpoolFile.h"
#include "host/sources/PlaybackStreams.h"
#include "host/stream/Lanes.h"
#include "media/audio/SoundTranscoder.h"
#include "media/mux/LiveMuxer.h"
#include "platform/Mutex.h"

namespace vms::host {

/// A recording on its way from its device into a file, as fast as the device gives it; whoever
/// wants the file shares it. What the device sends is written on a lane, of which a few wait at
/// most. Thread-safe.
class Download final : public PlaybackSink, public std::enable_shared_from_this<Download> {
public:
    /// Units of one file: its index takes some 100 bytes each until it is written.
    static constexpr uint64_t kMostUnits = 2'000'000;
    /// A source that does not pause is cut off here.
    static constexpr int kMostQueued = 4096;

    struct Progress {
        uint64_t size = 0;
        bool isOver = false;      ///< it grows no more
        SourceProblem problem{};  ///< status not 0: it is not whole, and this is why
    };

    /// @param lanes, streams must outlive this object
    Download(PlaybackRequest request, std::unique_ptr<SpoolFile> file, Lanes& lanes);

    /// Asks for the recording.
    void Start(PlaybackStreams& streams);

    /// Ends it: it grows no more.
    void Stop(const SourceProblem& problem) VMS_EXCLUDES(mutex_);

    const PlaybackRequest& Request() const { return request_; }
    /// Of this very file, with quotes; another one may have other bytes. Constant.
    const std::string& Tag() const { return tag_; }

    Progress Now() const VMS_EXCLUDES(mutex_);

    /// At most so many bytes. On a lane: it may take a while. @throws HostError
    std::string Read(uint64_t offset, size_t most) const { return file_->Read(offset, most); }

    /// Has a function called once, when it has grown or is over: on any thread, must not wait, nor
    /// call this object.
    void OnProgress(std::function<void()> changed) VMS_EXCLUDES(mutex_);

    // By the source:
    bool Take(const MediaUnit& unit) override VMS_EXCLUDES(mutex_);
    int QueuedUnits() const override { return queued_; }
    void Tell(const std::string&) override {}
    void End(bool isWhole, const std::string& reason) override VMS_EXCLUDES(mutex_);

private:
    void Opened(std::shared_ptr<Playback> playback, const SourceProblem& problem)
        VMS_EXCLUDES(mutex_);
    void Write(const MediaUnit& unit);
    void Finish();
    void Append();
    bool IsOver() const VMS_EXCLUDES(mutex_);
    void Changed() VMS_EXCLUDES(mutex_);

    const PlaybackRequest request_;
    const std::string tag_;
    const std::unique_ptr<SpoolFile> file_;
    const std::shared_ptr<Lane> lane_;
    std::atomic<int> queued_{0};
    // Of the lane:
    SoundTranscoder transcoder_;
    LiveMuxer muxer_{LiveContainer::kFile};
    std::vector<MediaUnit> frames_;
    std::vector<LivePiece> pieces_;
    uint64_t units_ = 0;
    int beginnings_ = 0;
    MediaCodec pictures_ = MediaCodec::kUnknown;

    mutable Mutex mutex_;
    std::shared_ptr<Playback> playback_ VMS_GUARDED_BY(mutex_);
    bool isOver_ VMS_GUARDED_BY(mutex_) = false;
    SourceProblem problem_ VMS_GUARDED_BY(mutex_);
    std::vector<std::function<void()>> waiting_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
