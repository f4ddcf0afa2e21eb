#include "media/packet/VideoPacketizer.h"

#include <algorithm>

#include "media/packet/ParameterSets.h"

namespace vms {
namespace {

constexpr int kMaxFrameBytes = 16 * 1024 * 1024;

std::optional<VideoCodec> CodecOf(AVCodecID id) {
    switch (id) {
        case AV_CODEC_ID_H264:
            return VideoCodec::kH264;
        case AV_CODEC_ID_HEVC:
            return VideoCodec::kH265;
        case AV_CODEC_ID_MJPEG:
            return VideoCodec::kJpeg;
        default:
            return std::nullopt;
    }
}

uint16_t FrameRate(const AVStream& stream) {
    const AVRational rate = stream.avg_frame_rate;
    if (rate.num <= 0 || rate.den <= 0)
        return 0;
    return static_cast<uint16_t>(std::clamp((rate.num + rate.den / 2) / rate.den, 1, 1000));
}

uint16_t Pixels(int value) {
    return static_cast<uint16_t>(std::clamp(value, 0, 0xffff));
}

}  // namespace

std::unique_ptr<VideoPacketizer> VideoPacketizer::Create(const AVStream& stream) {
    const std::optional<VideoCodec> codec = CodecOf(stream.codecpar->codec_id);
    if (!codec)
        return nullptr;
    std::unique_ptr<VideoPacketizer> packetizer(new VideoPacketizer(*codec));
    packetizer->header_.type = MediaType::kVideo;
    packetizer->header_.codec = static_cast<uint8_t>(*codec);
    packetizer->header_.width = Pixels(stream.codecpar->width);
    packetizer->header_.height = Pixels(stream.codecpar->height);
    packetizer->header_.rate = FrameRate(stream);
    if (*codec != VideoCodec::kJpeg && !packetizer->OpenFilter(stream))
        return nullptr;
    return packetizer;
}

bool VideoPacketizer::OpenFilter(const AVStream& stream) {
    const char* name = codec_ == VideoCodec::kH264 ? "h264_mp4toannexb" : "hevc_mp4toannexb";
    AVBSFContext* filter = nullptr;
    if (av_bsf_alloc(av_bsf_get_by_name(name), &filter) < 0)
        return false;
    filter_.reset(filter);
    filter->time_base_in = stream.time_base;
    if (avcodec_parameters_copy(filter->par_in, stream.codecpar) < 0 || av_bsf_init(filter) < 0)
        return false;
    const AVCodecParameters& out = *filter->par_out;
    const auto size = static_cast<size_t>(std::max(out.extradata_size, 0));
    if (out.extradata != nullptr && StartsWithStartCode(out.extradata, size))
        parameterSets_.assign(out.extradata, out.extradata + size);
    return true;
}

bool VideoPacketizer::Convert(AVPacket& packet, MediaPacket& out) {
    if (packet.size <= 0 || packet.size > kMaxFrameBytes)
        return false;
    if (filter_ != nullptr && !Filter(packet))
        return false;
    if (packet.size <= 0)
        return false;
    Pack(packet, out);
    return true;
}

bool VideoPacketizer::Filter(AVPacket& packet) {
    if (av_bsf_send_packet(filter_.get(), &packet) < 0) {
        Flush();
        return false;
    }
    return av_bsf_receive_packet(filter_.get(), &packet) >= 0;
}

void VideoPacketizer::Pack(const AVPacket& packet, MediaPacket& out) const {
    const bool key = (packet.flags & AV_PKT_FLAG_KEY) != 0 || codec_ == VideoCodec::kJpeg;
    out.header = header_;
    out.header.frameType = static_cast<uint8_t>(key ? FrameType::kKey : FrameType::kPredicted);
    out.unit.resize(kMediaHeaderSize);
    if (NeedsParameterSets(packet, key))
        out.unit.insert(out.unit.end(), parameterSets_.begin(), parameterSets_.end());
    out.unit.insert(out.unit.end(), packet.data, packet.data + packet.size);
}

bool VideoPacketizer::NeedsParameterSets(const AVPacket& packet, bool key) const {
    return key && !parameterSets_.empty() &&
           !HasParameterSets(codec_, packet.data, static_cast<size_t>(packet.size));
}

void VideoPacketizer::Flush() {
    if (filter_ != nullptr)
        av_bsf_flush(filter_.get());
}

}  // namespace vms
