#include "host/players/http/Download.h"

#include <random>
#include <utility>

#include "host/text/HostError.h"
#include "media/MediaError.h"

namespace vms::host {
namespace {

/// Never the same again, whatever has been there before.
std::string NewTag() {
    std::random_device random;
    char text[32];
    std::snprintf(text, sizeof text, "\"%08x%08x\"", random(), random());
    return text;
}

}  // namespace

Download::Download(PlaybackRequest request, std::unique_ptr<SpoolFile> file, Lanes& lanes)
    : request_(std::move(request)),
      tag_(NewTag()),
      file_(std::move(file)),
      lane_(std::make_shared<Lane>(lanes)) {}

void Download::Start(PlaybackStreams& streams) {
    streams.Open(request_, shared_from_this(),
                 [self = shared_from_this()](std::shared_ptr<Playback> playback,
                                             const SourceProblem& problem) {
                     self->Opened(std::move(playback), problem);
                 });
}

void Download::Opened(std::shared_ptr<Playback> playback, const SourceProblem& problem) {
    if (playback == nullptr) {
        Stop(problem);
        return;
    }
    MutexLock lock(mutex_);
    if (!isOver_)
        playback_ = std::move(playback);
}

bool Download::Take(const MediaUnit& unit) {
    if (IsOver())
        return false;
    if (++queued_ > kMostQueued) {
        Stop({502, "the device sends faster than can be written"});
        return false;
    }
    lane_->Post([self = shared_from_this(), unit] {
        self->Write(unit);
        --self->queued_;
    });
    return true;
}

void Download::End(bool isWhole, const std::string& reason) {
    lane_->Post([self = shared_from_this(), isWhole, reason] {
        if (isWhole)
            self->Finish();
        else
            self->Stop({502, "the device has broken off: " + reason});
    });
}

void Download::Write(const MediaUnit& unit) {
    if (IsOver())
        return;
    if (unit.Kind() != UnitKind::kOther)
        pictures_ = unit.Header().Codec();
    if (pictures_ != MediaCodec::kUnknown && !LiveMuxer::HoldsPictures(pictures_)) {
        Stop({415, std::string("the pictures are ") + CodecName(pictures_) +
                       ", which this container does not hold"});
        return;
    }
    if (++units_ > kMostUnits) {
        Stop({502, "the recording has too many pictures for one file"});
        return;
    }
    try {
        frames_.clear();
        if (SoundTranscoder::Takes(unit)) {
            if (const auto config = transcoder_.ConfigFor(unit))
                muxer_.Expect(*config);
            transcoder_.Take(unit, frames_);
        } else {
            frames_.push_back(unit);
        }
        for (const MediaUnit& frame : frames_)
            muxer_.Take(frame, pieces_);
        Append();
    } catch (const std::exception& error) {
        Stop({507, error.what()});
    }
}

/// Has the muxer's pieces in the file.
void Download::Append() {
    const uint64_t before = file_->Size();
    if (muxer_.Beginnings() > 0 && std::exchange(beginnings_, muxer_.Beginnings()) == 0)
        file_->Append(muxer_.Head());
    for (const LivePiece& piece : pieces_)
        file_->Append(piece.bytes);
    pieces_.clear();
    if (beginnings_ > 1)
        Stop({});  // the file has its end: what comes is another one's
    else if (file_->Size() > before)
        Changed();
}

void Download::Finish() {
    if (IsOver())
        return;
    try {
        frames_.clear();
        transcoder_.Finish(frames_);
        for (const MediaUnit& frame : frames_)
            muxer_.Take(frame, pieces_);
        muxer_.Finish(pieces_);
        Append();
        if (file_->Size() == 0)
            Stop({404, "there is no recording in that range"});
        else
            Stop({});
    } catch (const std::exception& error) {
        Stop({507, error.what()});
    }
}

void Download::Stop(const SourceProblem& problem) {
    std::shared_ptr<Playback> playback;
    {
        MutexLock lock(mutex_);
        if (std::exchange(isOver_, true))
            return;
        problem_ = problem;
        playback = std::move(playback_);
    }
    Changed();
}

bool Download::IsOver() const {
    MutexLock lock(mutex_);
    return isOver_;
}

Download::Progress Download::Now() const {
    MutexLock lock(mutex_);
    return {file_->Size(), isOver_, problem_};
}

void Download::OnProgress(std::function<void()> changed) {
    MutexLock lock(mutex_);
    waiting_.push_back(std::move(changed));
}

void Download::Changed() {
    std::vector<std::function<void()>> waiting;
    {
        MutexLock lock(mutex_);
        waiting.swap(waiting_);
    }
    for (const auto& changed : waiting)
        changed();
}

}  // namespace vms::host
