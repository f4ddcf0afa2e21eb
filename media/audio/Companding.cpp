#include "media/audio/Companding.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>
#include <numeric>

#include "media/MediaError.h"
#include "media/packet/LibavCodec.h"
#include "media/packet/LibavInput.h"

namespace vms {
namespace {

struct Deleter {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

constexpr float kFullScale = 32768;

/// libav decodes a packet that holds each code once.
std::array<float, 256> Expand(MediaCodec law) {
    const AVCodec* const decoder = avcodec_find_decoder(LibavCodec(law));
    const std::unique_ptr<AVCodecContext, Deleter> codec(avcodec_alloc_context3(decoder));
    const std::unique_ptr<AVFrame, Deleter> frame(av_frame_alloc());
    const PacketPtr packet(av_packet_alloc());
    std::array<float, 256> samples{};
    if (codec == nullptr || frame == nullptr || packet == nullptr ||
        av_new_packet(packet.get(), static_cast<int>(samples.size())) < 0)
        throw MediaError("out of memory");
    codec->sample_rate = 8000;
    codec->ch_layout = AV_CHANNEL_LAYOUT_MONO;
    std::iota(packet->data, packet->data + samples.size(), uint8_t{0});
    if (avcodec_open2(codec.get(), decoder, nullptr) < 0 ||
        avcodec_send_packet(codec.get(), packet.get()) < 0 ||
        avcodec_receive_frame(codec.get(), frame.get()) < 0 ||
        frame->nb_samples != static_cast<int>(samples.size()))
        throw MediaError("there is no G.711 decoder");
    const auto* const decoded = reinterpret_cast<const int16_t*>(frame->data[0]);
    for (size_t code = 0; code < samples.size(); ++code)
        samples[code] = static_cast<float>(decoded[code]) / kFullScale;
    return samples;
}

}  // namespace

const std::array<float, 256>& ExpansionOf(MediaCodec codec) {
    static const std::array<float, 256> kALaw = Expand(MediaCodec::kALaw);
    static const std::array<float, 256> kMuLaw = Expand(MediaCodec::kMuLaw);
    return codec == MediaCodec::kALaw ? kALaw : kMuLaw;
}

}  // namespace vms
