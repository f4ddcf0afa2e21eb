#include "sim/httpdevice/media/MediaStream.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vms::sim::httpdevice {

namespace {

constexpr int64_t kForever = std::numeric_limits<int64_t>::max();

}  // namespace

MediaStream::MediaStream(StreamMode mode, TrackPair tracks, RecordedWindow window,
                         std::shared_ptr<MediaClock> clock, Clock::time_point now)
    : mode_(mode),
      tracks_(std::move(tracks)),
      window_(std::move(window)),
      clock_(std::move(clock)) {
    const MediaClock::View view = clock_->At(now);
    generation_ = view.generation;
    Place(view.mediaMs);
}

void MediaStream::Place(int64_t mediaMs) {
    nextVideo_ = tracks_.video->KeyBefore(std::max<int64_t>(0, mediaMs));
    nextAudio_ = tracks_.audio ? tracks_.audio->FirstFrom(VideoMs()) : 0;
    needKey_ = true;
    finished_ = false;
}

void MediaStream::FollowSeek(const MediaClock::View& view) {
    if (view.generation == generation_)
        return;
    generation_ = view.generation;
    Place(view.mediaMs);
}

int64_t MediaStream::AudioMs() const {
    return tracks_.audio ? nextAudio_ * tracks_.audio->frameMs : kForever;
}

int64_t MediaStream::NextMs() const {
    return std::min(VideoMs(), AudioMs());
}

OutMessage MediaStream::Frame(const Track& track, int64_t number) {
    const Track::Frame& frame = track.At(number);
    const bool video = track.kind == FrameHeader::Kind::kVideo;
    FrameHeader header;
    header.payloadLength = static_cast<uint32_t>(frame.payload->size());
    header.kind = track.kind;
    header.serial = serial_++;
    header.timestamp = static_cast<uint64_t>(number * track.frameMs);
    header.rate = track.rate;
    header.width = track.width;
    header.height = track.height;
    header.codec = track.codec;
    if (video)
        header.frameType = frame.key ? 1 : 2;
    header.generation = generation_;
    return {false, Write(header), frame.payload, video && frame.key, true};
}

void MediaStream::TakeVideo(const MediaClock::View& view, std::vector<OutMessage>& out) {
    const bool key = tracks_.video->At(nextVideo_).key;
    if (key)
        needKey_ = false;
    if (key || (!needKey_ && !view.onlyKeyFrames))
        out.push_back(Frame(*tracks_.video, nextVideo_));
    else
        needKey_ = true;  // what follows a frame left out cannot be decoded
    ++nextVideo_;
}

void MediaStream::TakeAudio(const MediaClock::View& view, std::vector<OutMessage>& out) {
    if (view.speed == 1 && !view.onlyKeyFrames)
        out.push_back(Frame(*tracks_.audio, nextAudio_));
    ++nextAudio_;
}

// Moves on to the next recorded instant when the next frame is in a gap. False when none is left
// or, for a clock of others, when it has not come yet.
bool MediaStream::SkipGap(Clock::time_point now, int64_t limitMs) {
    const int64_t at = NextMs();
    const auto next = window_.timeline->NextRecorded(at, window_.endMs, window_.fileType);
    if (next == at)
        return at < window_.endMs;
    if (!next) {
        finished_ = mode_ != StreamMode::kSync || limitMs >= window_.endMs;
        return false;
    }
    Place(*next);
    if (mode_ == StreamMode::kPlayback)
        clock_->SkipTo(now, *next);
    return mode_ != StreamMode::kSync || *next <= limitMs;
}

void MediaStream::Take(Clock::time_point now, size_t budget, std::vector<OutMessage>& out) {
    MediaClock::View view = clock_->At(now);
    FollowSeek(view);
    if (mode_ == StreamMode::kDownload)
        view.mediaMs = kForever;
    size_t taken = 0;
    while (!finished_ && taken < budget && NextMs() <= view.mediaMs) {
        if (mode_ != StreamMode::kLive && !SkipGap(now, view.mediaMs))
            break;
        if (NextMs() > view.mediaMs)
            view.mediaMs = NextMs();  // the clock went along over a gap
        const size_t before = out.size();
        if (VideoMs() <= AudioMs())
            TakeVideo(view, out);
        else
            TakeAudio(view, out);
        if (out.size() > before)
            taken += out.back().size();
    }
    if (mode_ != StreamMode::kLive && NextMs() >= window_.endMs)
        finished_ = true;
}

Clock::time_point MediaStream::NextDue(Clock::time_point now) const {
    if (finished_)
        return Clock::time_point::max();
    return mode_ == StreamMode::kDownload ? now : clock_->When(NextMs(), now);
}

}  // namespace vms::sim::httpdevice
