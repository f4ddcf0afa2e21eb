#include "media/recording/RecordingReader.h"

#include <algorithm>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

#include "media/MediaLog.h"

namespace vms {
namespace {

constexpr AVRational kMilliseconds{1, 1000};
constexpr int kMaxDamaged = 200;
constexpr int64_t kMaxOverrunMs = 5000;
constexpr size_t kMaxGatheredBytes = 64U * 1024 * 1024;
/// How far before the wanted time to look for a key picture, for containers without an index.
constexpr int64_t kSeekBackMs[] = {0, 3000, 15000};

int64_t BaseOf(const AVStream& video) {
    if (video.start_time == AV_NOPTS_VALUE)
        return 0;
    const int64_t start = av_rescale_q(video.start_time, video.time_base, kMilliseconds);
    const AVRational rate = video.avg_frame_rate;
    if (rate.num <= 0 || rate.den <= 0)
        return start;
    // Decoding runs ahead of showing by as many pictures as may be reordered.
    return start - av_rescale(video.codecpar->video_delay, 1000LL * rate.den, rate.num);
}

}  // namespace

std::unique_ptr<RecordingReader> RecordingReader::Open(const Recording& recording,
                                                       const std::atomic<bool>& stop) {
    std::unique_ptr<RecordingReader> reader(new RecordingReader(recording, stop));
    if (reader->raw_ == nullptr || !reader->OpenInput())
        return nullptr;
    return reader;
}

bool RecordingReader::OpenInput() {
    std::string error;
    input_ = LibavInput::Open(recording_.path, &stop_, error);
    if (input_ != nullptr)
        video_ = VideoPacketizer::Create(input_->Video());
    if (input_ == nullptr || video_ == nullptr) {
        VMS_MEDIA_LOG(2, "RecordingReader", "skip %s: %s", recording_.path.c_str(),
                      error.empty() ? "unsupported video codec" : error.c_str());
        return false;
    }
    if (const AVStream* audio = input_->Audio())
        audio_ = AudioPacketizer::Create(*audio);
    SettleEnd();
    baseMs_ = BaseOf(input_->Video());
    lastVideoMs_ = lastAudioMs_ = recording_.startMs;
    primed_ = false;
    return true;
}

/// A file that does not tell its length is read to its end.
void RecordingReader::SettleEnd() {
    if (recording_.exact)
        return;
    const int64_t told = input_->DurationMs();
    recording_.endMs =
        recording_.startMs + (told > 0 ? std::min(told, kMaxRecordingMs) : kMaxRecordingMs);
}

bool RecordingReader::Next(MediaPacket& packet) {
    if (pending_.empty())
        return Read(packet);
    packet = std::move(pending_.front());
    pending_.pop_front();
    return true;
}

bool RecordingReader::Read(MediaPacket& packet) {
    while (input_ != nullptr && ReadRaw()) {
        if (!Convert(packet)) {
            if (++damaged_ > kMaxDamaged) {
                VMS_MEDIA_LOG(2, "RecordingReader", "%s is damaged", recording_.path.c_str());
                return false;
            }
            continue;
        }
        damaged_ = 0;
        if (packet.timeMs > recording_.endMs + kMaxOverrunMs)
            return false;
        primed_ = primed_ || packet.IsKey();
        if (primed_)
            return true;
    }
    return false;
}

bool RecordingReader::ReadRaw() {
    const int result = input_->Read(*raw_);
    if (result < 0 && result != AVERROR_EOF && !stop_) {
        VMS_MEDIA_LOG(2, "RecordingReader", "%s ends early: %s", recording_.path.c_str(),
                      LibavError(result).c_str());
    }
    return result >= 0;
}

bool RecordingReader::Convert(MediaPacket& packet) {
    const AVStream& video = input_->Video();
    const bool isVideo = raw_->stream_index == video.index;
    const AVStream* stream = isVideo ? &video : input_->Audio();
    if (!isVideo &&
        (audio_ == nullptr || stream == nullptr || raw_->stream_index != stream->index)) {
        damaged_ = 0;  // another stream's packet says nothing about damage
        return false;
    }
    const int64_t ticks = raw_->dts != AV_NOPTS_VALUE ? raw_->dts : raw_->pts;
    const bool good = isVideo ? video_->Convert(*raw_, packet) : audio_->Convert(*raw_, packet);
    return good && StampTime(*stream, ticks, packet);
}

bool RecordingReader::StampTime(const AVStream& stream, int64_t ticks, MediaPacket& packet) {
    int64_t& last = packet.IsVideo() ? lastVideoMs_ : lastAudioMs_;
    if (ticks != AV_NOPTS_VALUE) {
        const int64_t offset = av_rescale_q(ticks, stream.time_base, kMilliseconds) - baseMs_;
        last = std::max(last, recording_.startMs + std::max<int64_t>(offset, 0));
    }
    packet.timeMs = last;
    return true;
}

void RecordingReader::SeekTo(int64_t timeMs) {
    for (const int64_t back : kSeekBackMs) {
        if (timeMs - back <= recording_.startMs || stop_)
            break;
        if (GatherFrom(timeMs - back, timeMs))
            return;
    }
    pending_.clear();
    if (OpenInput())
        Gather(timeMs);
}

bool RecordingReader::GatherFrom(int64_t fromMs, int64_t timeMs) {
    if (input_ == nullptr)
        return false;
    const AVStream& video = input_->Video();
    const int64_t offset = fromMs - recording_.startMs + baseMs_;
    if (!input_->Seek(av_rescale_q(offset, kMilliseconds, video.time_base)))
        return false;
    video_->Flush();
    lastVideoMs_ = lastAudioMs_ = recording_.startMs;
    primed_ = false;
    return Gather(timeMs);
}

bool RecordingReader::Gather(int64_t timeMs) {
    pending_.clear();
    size_t bytes = 0;
    MediaPacket packet;
    while (bytes < kMaxGatheredBytes && Read(packet)) {
        const bool beyond = packet.IsVideo() && packet.timeMs > timeMs;
        if (!packet.IsVideo() && packet.timeMs < timeMs)
            continue;
        if (packet.IsKey() && !beyond) {
            pending_.clear();
            bytes = 0;
        }
        bytes += packet.unit.size();
        const bool found = !pending_.empty();
        pending_.push_back(std::move(packet));
        if (beyond)
            return found;
        packet = {};
    }
    return !pending_.empty();
}

}  // namespace vms
