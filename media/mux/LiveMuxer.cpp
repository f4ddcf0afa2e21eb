#include "media/mux/LiveMuxer.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstring>
#include <utility>

#include "media/MediaError.h"
#include "media/MediaLog.h"
#include "media/mux/ContainerOutput.h"
#include "media/mux/TrackParameters.h"
#include "media/packet/LibavInput.h"
#include "media/packet/ParameterSets.h"
#include "media/packet/PictureSize.h"

namespace vms {
namespace {

constexpr int64_t kSoundWaitMs = 1000;
constexpr size_t kMostWaiting = 256;               ///< units
constexpr size_t kMostWaitingBytes = size_t{16} << 20;  ///< the same, in bytes
constexpr AVRational kMilliseconds{1, 1000};
constexpr AVRational kPictureClock{1, 90'000};
constexpr int kSamplesPerFrame = 1024;
constexpr int kTableVersions = 32;

VideoCodec PictureCodec(const MediaUnit& unit) {
    return static_cast<VideoCodec>(unit.Header().codec);
}

bool IsSound(const MediaUnit& unit) {
    return unit.Header().Codec() == MediaCodec::kAac;
}

/// The first frame's; nothing when the unit is damaged.
std::optional<AacConfig> SoundOf(const MediaUnit& unit) {
    const auto frame = ParseAdtsFrame(unit.Payload());
    return frame ? std::optional(frame->config) : std::nullopt;
}

class TextBytes final : public ByteSink {
public:
    void Write(std::string_view bytes) override { text_ += bytes; }
    std::string Take() { return std::exchange(text_, {}); }

private:
    std::string text_;
};

}  // namespace

/// libav's container for one set of tracks.
class LiveMuxer::Writer {
public:
    Writer(LiveContainer container, const Tracks& tracks, int number)
        : isTransport_(container == LiveContainer::kTransportStream),
          output_(bytes_, isTransport_ ? "mpegts" : "mp4"),
          packet_(av_packet_alloc()) {
        if (packet_ == nullptr)
            throw MediaError("out of memory");
        pictures_ = &output_.AddTrack();
        pictures_->time_base = kPictureClock;
        DescribePictures(*pictures_, tracks.pictures, tracks.parameterSets);
        if (!isTransport_ && tracks.pictures.Codec() == MediaCodec::kH265)
            pictures_->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
        if (tracks.sound)
            AddSound(*tracks.sound);
        output_.Format().max_delay = 0;
        if (isTransport_)
            output_.Begin({{"pat_period", "3600"},
                           {"sdt_period", "3600"},
                           {"tables_version", std::to_string(number % kTableVersions).c_str()}});
        else
            output_.Begin({{"movflags", "empty_moov+default_base_moof+frag_custom+skip_sidx+"
                                        "frag_discont"}});
        output_.Flush();
        head_ = bytes_.Take();
    }

    const std::string& Head() const { return head_; }

    void Picture(std::string_view payload, int64_t timeMs, bool isKey, int64_t durationMs) {
        if (isTransport_ && isKey)
            av_opt_set(output_.Format().priv_data, "mpegts_flags", "+resend_headers", 0);
        Packet(*pictures_, payload, isKey);
        packet_->pts = packet_->dts =
            av_rescale_q(timeMs, kMilliseconds, pictures_->time_base);
        packet_->duration = av_rescale_q(durationMs, kMilliseconds, pictures_->time_base);
        Put();
    }

    /// @param begin in samples
    void Sound(std::string_view adtsFrame, const AdtsFrame& frame, int64_t begin) {
        if (sound_ == nullptr || frame.config != soundConfig_)
            return;
        const AVRational clock{1, SampleRate(frame.config)};
        Packet(*sound_, adtsFrame.substr(isTransport_ ? 0 : frame.headerSize), true);
        packet_->pts = packet_->dts = av_rescale_q(begin, clock, sound_->time_base);
        packet_->duration = av_rescale_q(kSamplesPerFrame, clock, sound_->time_base);
        Put();
    }

    std::string Take() { return bytes_.Take(); }

private:
    void AddSound(const AacConfig& config) {
        soundConfig_ = config;
        sound_ = &output_.AddTrack();
        sound_->time_base = {1, SampleRate(config)};
        DescribeAac(*sound_, config);
        if (isTransport_)  // frames bring their headers, as the parameters must not
            sound_->codecpar->extradata_size = 0;
    }

    void Packet(const AVStream& track, std::string_view payload, bool isKey) {
        padded_.assign(payload.begin(), payload.end());
        padded_.resize(payload.size() + AV_INPUT_BUFFER_PADDING_SIZE);
        av_packet_unref(packet_.get());
        packet_->stream_index = track.index;
        packet_->data = padded_.data();
        packet_->size = static_cast<int>(payload.size());
        packet_->flags = isKey ? AV_PKT_FLAG_KEY : 0;
    }

    void Put() {
        output_.Write(packet_.get());
        if (!isTransport_)
            output_.Write(nullptr);  // ends the fragment
        output_.Flush();
    }

    const bool isTransport_;
    TextBytes bytes_;
    ContainerOutput output_;
    PacketPtr packet_;
    std::vector<uint8_t> padded_;
    AVStream* pictures_ = nullptr;  ///< owned by the output
    AVStream* sound_ = nullptr;     ///< the same; null = none
    AacConfig soundConfig_;
    std::string head_;
};

LiveMuxer::LiveMuxer(LiveContainer container, double speed)
    : container_(container), times_(speed) {}

LiveMuxer::~LiveMuxer() = default;

void LiveMuxer::Take(const MediaUnit& unit, std::vector<LivePiece>& pieces) {
    if (!Notice(unit))
        return;
    if (writer_ != nullptr && !(stale_ && (IsTransport() || unit.Header().IsKeyPicture()))) {
        Write(unit, pieces);
        return;
    }
    waiting_.push_back(unit);
    waitingBytes_ += unit.Bytes().size();
    if (!MustWait())
        Release(pieces);
}

void LiveMuxer::Finish(std::vector<LivePiece>& pieces) {
    if (!waiting_.empty())
        Release(pieces);
}

/// Learns of the tracks. @return whether the unit can be of use
bool LiveMuxer::Notice(const MediaUnit& unit) {
    if (IsSound(unit)) {
        const auto config = SoundOf(unit);
        if (!tracks_ || !config)
            return false;
        stale_ = stale_ || tracks_->sound != config;
        tracks_->sound = config;
        return true;
    }
    const std::string_view payload = unit.Payload();
    if (!HoldsPictures(unit.Header().Codec()) ||
        !StartsWithStartCode(reinterpret_cast<const uint8_t*>(payload.data()), payload.size()))
        return false;
    if (unit.Header().IsKeyPicture())
        NoticeKeyPicture(unit);
    return tracks_ && tracks_->pictures.Codec() == unit.Header().Codec();
}

void LiveMuxer::NoticeKeyPicture(const MediaUnit& unit) {
    std::string sets = ParameterSetsOf(PictureCodec(unit), unit.Payload());
    const bool isOther = !tracks_ || tracks_->pictures.Codec() != unit.Header().Codec();
    const bool hasChanged = !sets.empty() && tracks_ && tracks_->parameterSets != sets;
    if (!isOther && !hasChanged)
        return;
    if (sets.empty() && !IsTransport())
        return;  // there is no head without
    stale_ = stale_ || isOther || !IsTransport();
    const auto sound = tracks_ ? tracks_->sound : std::nullopt;
    tracks_ = {unit.Header(), std::move(sets), sound};
    if (tracks_->pictures.width == 0 || tracks_->pictures.height == 0)
        ReadPictureSize(unit, tracks_->pictures.width, tracks_->pictures.height);
}

/// Whether sound may still come that the head has to name.
bool LiveMuxer::MustWait() const {
    if (IsTransport() || beginnings_ > 0 || tracks_->sound)
        return false;
    const auto span = static_cast<int32_t>(waiting_.back().Header().timestampMs -
                                           waiting_.front().Header().timestampMs);
    return waiting_.size() < kMostWaiting && waitingBytes_ < kMostWaitingBytes && span >= 0 &&
           span < kSoundWaitMs;
}

void LiveMuxer::Release(std::vector<LivePiece>& pieces) {
    const std::vector<MediaUnit> units = std::exchange(waiting_, {});
    waitingBytes_ = 0;
    if (!Begin())
        return;
    for (const MediaUnit& unit : units)
        Write(unit, pieces);
}

bool LiveMuxer::Begin() try {
    writer_.reset();
    writer_ = std::make_unique<Writer>(container_, *tracks_, writers_++);
    stale_ = false;
    if (IsTransport()) {
        beginnings_ = 1;
        return true;
    }
    head_ = writer_->Head();
    ++beginnings_;
    return true;
} catch (const MediaError& error) {
    VMS_MEDIA_LOG(2, "LiveMuxer", "a stream is left out: %s", error.what());
    tracks_.reset();  // from the next key picture on
    return false;
}

void LiveMuxer::Write(const MediaUnit& unit, std::vector<LivePiece>& pieces) {
    try {
        if (IsSound(unit))
            WriteSound(unit);
        else
            WritePicture(unit);
    } catch (const MediaError& error) {
        VMS_MEDIA_LOG(1, "LiveMuxer", "a unit is left out: %s", error.what());
    }
    LivePiece piece{writer_->Take(), 0, unit.Kind(), unit.Header().timestampMs};
    if (piece.bytes.empty())
        return;
    if (IsTransport()) {
        std::string gap = counters_.Gap();
        counters_.Renumber(piece.bytes);
        piece.gapBytes = gap.size();
        piece.bytes.insert(0, gap);
    }
    pieces.push_back(std::move(piece));
}

void LiveMuxer::WritePicture(const MediaUnit& unit) {
    const MediaUnitHeader& header = unit.Header();
    const int64_t duration = header.rate > 0 ? 1000 / header.rate : 40;
    writer_->Picture(unit.Payload(), times_.OfPicture(header.timestampMs), header.IsKeyPicture(),
                     std::max<int64_t>(duration, 1));
}

void LiveMuxer::WriteSound(const MediaUnit& unit) {
    std::string_view rest = unit.Payload();
    while (const auto frame = ParseAdtsFrame(rest)) {
        const int rate = SampleRate(frame->config);
        const auto begin = times_.OfSound(unit.Header().timestampMs, kSamplesPerFrame, rate);
        if (begin)
            writer_->Sound(rest.substr(0, frame->size), *frame, *begin);
        rest.remove_prefix(frame->size);
    }
}

}  // namespace vms
