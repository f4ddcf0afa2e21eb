#include "media/mux/Muxer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cstring>

#include "media/MediaError.h"
#include "media/packet/LibavCodec.h"
#include "media/packet/LibavInput.h"

namespace vms {
namespace {

constexpr int64_t kProbeMs = 1000;
constexpr size_t kMostWaiting = 500;  ///< units
constexpr AVRational kMilliseconds{1, 1000};

PacketPtr MakePacket(std::string_view payload) {
    PacketPtr packet(av_packet_alloc());
    if (packet == nullptr || av_new_packet(packet.get(), static_cast<int>(payload.size())) < 0)
        throw MediaError("out of memory");
    std::memcpy(packet->data, payload.data(), payload.size());
    return packet;
}

/// Parameter sets from a key picture, which some containers want in front of everything.
void CopyParameterSets(std::string_view keyPicture, AVCodecParameters& parameters) {
    const AVBitStreamFilter* filter = av_bsf_get_by_name("extract_extradata");
    AVBSFContext* context = nullptr;
    if (filter == nullptr || av_bsf_alloc(filter, &context) < 0)
        return;
    avcodec_parameters_copy(context->par_in, &parameters);
    PacketPtr packet = MakePacket(keyPicture);
    if (av_bsf_init(context) >= 0 && av_bsf_send_packet(context, packet.get()) >= 0 &&
        av_bsf_receive_packet(context, packet.get()) >= 0) {
        size_t size = 0;
        const uint8_t* data =
            av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
        if (data != nullptr) {
            parameters.extradata =
                static_cast<uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
            std::memcpy(parameters.extradata, data, size);
            parameters.extradata_size = static_cast<int>(size);
        }
    }
    av_bsf_free(&context);
}

}  // namespace

Muxer::Muxer(std::unique_ptr<ByteSink> bytes, const char* container) : bytes_(std::move(bytes)) {
    AVFormatContext* format = nullptr;
    const int error = avformat_alloc_output_context2(&format, nullptr, container, nullptr);
    format_.reset(format);
    if (error < 0)
        Fail(error);
    if (!OpenOutput())
        throw MediaError("out of memory");
    if (!bytes_->CanSeek())
        format_->flags |= AVFMT_FLAG_FLUSH_PACKETS;
}

Muxer::~Muxer() = default;

bool Muxer::OpenOutput() {
    constexpr int kBuffer = 64 << 10;
    auto* const buffer = static_cast<uint8_t*>(av_malloc(kBuffer));
    if (buffer == nullptr)
        return false;
    format_->pb = avio_alloc_context(buffer, kBuffer, 1, this, nullptr, &Muxer::WriteBytes,
                                     bytes_->CanSeek() ? &Muxer::SeekBytes : nullptr);
    if (format_->pb == nullptr)
        av_free(buffer);
    return format_->pb != nullptr;
}

void Muxer::FormatDeleter::operator()(AVFormatContext* format) const {
    if (format->pb != nullptr)
        av_freep(&format->pb->buffer);
    avio_context_free(&format->pb);
    avformat_free_context(format);
}

int Muxer::WriteBytes(void* self, uint8_t* data, int size) {
    auto& muxer = *static_cast<Muxer*>(self);
    try {
        muxer.bytes_->Write({reinterpret_cast<const char*>(data), static_cast<size_t>(size)});
        return size;
    } catch (const std::exception& error) {
        muxer.problem_ = error.what();
        return AVERROR_EXTERNAL;
    }
}

int64_t Muxer::SeekBytes(void* self, int64_t offset, int whence) {
    auto& muxer = *static_cast<Muxer*>(self);
    if (whence != SEEK_SET || offset < 0)
        return AVERROR(ENOSYS);
    try {
        muxer.bytes_->Seek(static_cast<uint64_t>(offset));
        return offset;
    } catch (const std::exception& error) {
        muxer.problem_ = error.what();
        return AVERROR_EXTERNAL;
    }
}

void Muxer::Fail(int error) const {
    throw MediaError(problem_.empty() ? LibavError(error) : problem_);
}

void Muxer::Take(const MediaUnitHeader& header, std::string_view payload) {
    if (LibavCodec(header.Codec()) == AV_CODEC_ID_NONE)
        return;
    if (begun_) {
        Write({header, std::string(payload)});
        return;
    }
    if (waiting_.empty() && !header.IsKeyPicture())
        return;
    waiting_.push_back({header, std::string(payload)});
    if (KnowsTracks())
        Begin();
}

bool Muxer::KnowsTracks() const {
    const auto isSound = [](const Unit& unit) { return !unit.header.IsVideo(); };
    return waiting_.size() >= kMostWaiting ||
           std::any_of(waiting_.begin(), waiting_.end(), isSound) ||
           int64_t{waiting_.back().header.timestampMs} - waiting_.front().header.timestampMs >=
               kProbeMs;
}

void Muxer::Begin() {
    for (const Unit& unit : waiting_) {
        Track& track = unit.header.IsVideo() ? video_ : audio_;
        if (track.codec == MediaCodec::kUnknown)
            AddTrack(track, unit);
    }
    if (video_.stream == nullptr)
        throw MediaError(std::string("this container cannot hold ") + CodecName(video_.codec));
    const int error = avformat_write_header(format_.get(), nullptr);
    if (error < 0)
        Fail(error);
    begun_ = true;
    for (const Unit& unit : waiting_)
        Write(unit);
    waiting_.clear();
}

void Muxer::AddTrack(Track& track, const Unit& first) {
    track.codec = first.header.Codec();
    const AVCodecID codec = LibavCodec(track.codec);
    // The transport stream muxer takes anything, as data that no player understands.
    const bool isTransport = std::strcmp(format_->oformat->name, "mpegts") == 0;
    const bool fits =
        isTransport
            ? codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC || codec == AV_CODEC_ID_AAC
            : avformat_query_codec(format_->oformat, codec, FF_COMPLIANCE_NORMAL) == 1;
    if (!fits)
        return;
    track.stream = avformat_new_stream(format_.get(), nullptr);
    if (track.stream == nullptr)
        throw MediaError("out of memory");
    track.stream->time_base = kMilliseconds;
    AVCodecParameters& parameters = *track.stream->codecpar;
    parameters.codec_id = codec;
    parameters.codec_type = first.header.IsVideo() ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
    if (first.header.IsVideo()) {
        parameters.width = first.header.width;
        parameters.height = first.header.height;
        CopyParameterSets(first.payload, parameters);
    } else {
        parameters.sample_rate = first.header.rate > 0 ? first.header.rate : 8000;
        parameters.ch_layout = AV_CHANNEL_LAYOUT_MONO;
    }
}

void Muxer::Write(const Unit& unit) {
    Track& track = unit.header.IsVideo() ? video_ : audio_;
    if (track.stream == nullptr || track.codec != unit.header.Codec())
        return;
    const PacketPtr packet = MakePacket(unit.payload);
    packet->stream_index = track.stream->index;
    packet->pts = packet->dts =
        av_rescale_q(TimeOf(unit.header, track), kMilliseconds, track.stream->time_base);
    if (unit.header.IsKeyPicture() || !unit.header.IsVideo())
        packet->flags |= AV_PKT_FLAG_KEY;
    const int error = av_interleaved_write_frame(format_.get(), packet.get());
    if (error < 0)
        Fail(error);
}

/// Time in the file: goes on where a seek or a new round jumps back.
int64_t Muxer::TimeOf(const MediaUnitHeader& header, Track& track) {
    constexpr int64_t kJump = 2000;
    const int64_t newest = std::max(video_.lastTime, audio_.lastTime);
    int64_t time = header.timestampMs + offset_;
    if (newest >= 0 && time < newest - kJump) {
        offset_ += newest - time;
        time = newest;
    }
    time = std::max(time, track.lastTime + 1);
    track.lastTime = time;
    return time;
}

void Muxer::Finish() {
    if (!begun_ && !waiting_.empty())
        Begin();
    if (begun_) {
        const int error = av_write_trailer(format_.get());
        avio_flush(format_->pb);
        if (error < 0 || format_->pb->error < 0)
            Fail(error < 0 ? error : format_->pb->error);
    }
    bytes_->Finish();
}

}  // namespace vms
