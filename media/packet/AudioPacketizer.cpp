#include "media/packet/AudioPacketizer.h"

#include <algorithm>

namespace vms {
namespace {

constexpr int kMaxAacBytes = 8191 - static_cast<int>(kAdtsHeaderSize);
constexpr int kMaxAudioBytes = 64 * 1024;
constexpr int kNarrowBand = 8000;

std::optional<AudioCodec> CodecOf(const AVCodecParameters& parameters) {
    switch (parameters.codec_id) {
        case AV_CODEC_ID_AAC:
            return parameters.sample_rate == kNarrowBand ? AudioCodec::kAac8kHz : AudioCodec::kAac;
        case AV_CODEC_ID_PCM_ALAW:
            return AudioCodec::kALaw;
        case AV_CODEC_ID_PCM_MULAW:
            return AudioCodec::kMuLaw;
        default:
            return std::nullopt;
    }
}

}  // namespace

AudioPacketizer::AudioPacketizer(AudioCodec codec, int sampleRate) : codec_(codec) {
    header_.type = MediaType::kAudio;
    header_.codec = static_cast<uint8_t>(codec);
    header_.rate = static_cast<uint16_t>(std::clamp(sampleRate, 0, 0xffff));
}

std::unique_ptr<AudioPacketizer> AudioPacketizer::Create(const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    const std::optional<AudioCodec> codec = CodecOf(parameters);
    if (!codec)
        return nullptr;
    std::unique_ptr<AudioPacketizer> packetizer(
        new AudioPacketizer(*codec, parameters.sample_rate));
    if (packetizer->IsAac() && parameters.extradata_size > 0) {
        packetizer->aac_ =
            ParseAacConfig(parameters.extradata, static_cast<size_t>(parameters.extradata_size));
    }
    return packetizer;
}

bool AudioPacketizer::Convert(const AVPacket& packet, MediaPacket& out) const {
    const int limit = IsAac() ? kMaxAacBytes : kMaxAudioBytes;
    if (packet.size <= 0 || packet.size > limit)
        return false;
    const auto size = static_cast<size_t>(packet.size);
    const bool bare = IsAac() && !StartsWithAdts(packet.data, size);
    if (bare && !aac_)
        return false;
    out.header = header_;
    out.unit.resize(kMediaHeaderSize);
    if (bare) {
        const auto adts = MakeAdtsHeader(*aac_, size);
        out.unit.insert(out.unit.end(), adts.begin(), adts.end());
    }
    out.unit.insert(out.unit.end(), packet.data, packet.data + size);
    return true;
}

bool AudioPacketizer::IsAac() const {
    return codec_ == AudioCodec::kAac || codec_ == AudioCodec::kAac8kHz;
}

}  // namespace vms
