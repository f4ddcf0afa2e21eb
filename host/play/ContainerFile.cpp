#include "host/play/ContainerFile.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cstring>

#include "host/HostError.h"
#include "host/play/OutputFile.h"

namespace vms {
namespace {

constexpr int64_t kProbeMs = 1000;
constexpr size_t kMostWaiting = 500;  ///< units
constexpr AVRational kMilliseconds{1, 1000};

AVCodecID LibavCodec(UnitCodec codec) {
    switch (codec) {
        case UnitCodec::h264:
            return AV_CODEC_ID_H264;
        case UnitCodec::h265:
            return AV_CODEC_ID_HEVC;
        case UnitCodec::jpeg:
            return AV_CODEC_ID_MJPEG;
        case UnitCodec::alaw:
            return AV_CODEC_ID_PCM_ALAW;
        case UnitCodec::mulaw:
            return AV_CODEC_ID_PCM_MULAW;
        case UnitCodec::aac:
            return AV_CODEC_ID_AAC;
        default:
            return AV_CODEC_ID_NONE;
    }
}

std::string Reason(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;

PacketPtr MakePacket(std::string_view payload) {
    PacketPtr packet(av_packet_alloc());
    if (packet == nullptr || av_new_packet(packet.get(), static_cast<int>(payload.size())) < 0)
        throw HostError("out of memory");
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

ContainerFile::ContainerFile(const std::string& path, const char* container,
                             const std::string& name)
    : name_(name) {
    AVFormatContext* format = nullptr;
    int error = avformat_alloc_output_context2(&format, nullptr, container, nullptr);
    format_.reset(format);
    if (error < 0)
        Fail("cannot write", error);
    const std::string address = path == kStandardOutput ? "pipe:1" : "file:" + path;
    error = avio_open(&format_->pb, address.c_str(), AVIO_FLAG_WRITE);
    if (error < 0)
        Fail("cannot write", error);
    if (format_->pb->seekable == 0)
        format_->flags |= AVFMT_FLAG_FLUSH_PACKETS;
}

void ContainerFile::FormatDeleter::operator()(AVFormatContext* format) const {
    avio_closep(&format->pb);
    avformat_free_context(format);
}

void ContainerFile::Fail(const std::string& what, int error) const {
    throw HostError(what + " " + name_ + ": " + Reason(error));
}

void ContainerFile::Take(const UnitHeader& header, std::string_view payload) {
    if (LibavCodec(header.codec) == AV_CODEC_ID_NONE)
        return;
    if (begun_) {
        Write({header, std::string(payload)});
        return;
    }
    if (waiting_.empty() && !header.isKey)
        return;
    waiting_.push_back({header, std::string(payload)});
    if (KnowsTracks())
        Begin();
}

bool ContainerFile::KnowsTracks() const {
    const auto isSound = [](const Unit& unit) { return !unit.header.isVideo; };
    return waiting_.size() >= kMostWaiting ||
           std::any_of(waiting_.begin(), waiting_.end(), isSound) ||
           int64_t{waiting_.back().header.timestampMs} - waiting_.front().header.timestampMs >=
               kProbeMs;
}

void ContainerFile::Begin() {
    for (const Unit& unit : waiting_) {
        Track& track = unit.header.isVideo ? video_ : audio_;
        if (track.codec == UnitCodec::unknown)
            AddTrack(track, unit);
    }
    if (video_.stream == nullptr)
        throw HostError(name_ + ": this container cannot hold " + CodecName(video_.codec));
    const int error = avformat_write_header(format_.get(), nullptr);
    if (error < 0)
        Fail("cannot write", error);
    begun_ = true;
    for (const Unit& unit : waiting_)
        Write(unit);
    waiting_.clear();
}

void ContainerFile::AddTrack(Track& track, const Unit& first) {
    track.codec = first.header.codec;
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
        throw HostError("out of memory");
    track.stream->time_base = kMilliseconds;
    AVCodecParameters& parameters = *track.stream->codecpar;
    parameters.codec_id = codec;
    parameters.codec_type = first.header.isVideo ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
    if (first.header.isVideo) {
        parameters.width = first.header.width;
        parameters.height = first.header.height;
        CopyParameterSets(first.payload, parameters);
    } else {
        parameters.sample_rate = first.header.rate > 0 ? first.header.rate : 8000;
        parameters.ch_layout = AV_CHANNEL_LAYOUT_MONO;
    }
}

void ContainerFile::Write(const Unit& unit) {
    Track& track = unit.header.isVideo ? video_ : audio_;
    if (track.stream == nullptr || track.codec != unit.header.codec)
        return;
    const PacketPtr packet = MakePacket(unit.payload);
    packet->stream_index = track.stream->index;
    packet->pts = packet->dts =
        av_rescale_q(TimeOf(unit.header, track), kMilliseconds, track.stream->time_base);
    if (unit.header.isKey || !unit.header.isVideo)
        packet->flags |= AV_PKT_FLAG_KEY;
    const int error = av_interleaved_write_frame(format_.get(), packet.get());
    if (error < 0)
        Fail("cannot write", error);
}

/// Time in the file: goes on where a seek or a new round jumps back.
int64_t ContainerFile::TimeOf(const UnitHeader& header, Track& track) {
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

void ContainerFile::Finish() {
    if (!begun_ && !waiting_.empty())
        Begin();
    if (!begun_)
        return;
    int error = av_write_trailer(format_.get());
    if (error >= 0)
        error = avio_closep(&format_->pb);
    if (error < 0)
        Fail("cannot write all of", error);
}

}  // namespace vms
