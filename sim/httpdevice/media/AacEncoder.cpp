#include "sim/httpdevice/media/AacEncoder.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/log.h>
}

namespace vms::sim::httpdevice {

namespace {

constexpr int kBitRate = 32'000;
constexpr int kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                          22050, 16000, 12000, 11025, 8000,  7350};
constexpr size_t kAdtsSize = 7;

struct Deleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

[[noreturn]] void Fail() {
    throw std::runtime_error("encoding AAC failed");
}

std::string AdtsHeader(size_t payload, int rate) {
    const auto index = static_cast<unsigned>(
        std::distance(std::begin(kRates), std::find(std::begin(kRates), std::end(kRates), rate)));
    const size_t length = payload + kAdtsSize;
    const unsigned bytes[kAdtsSize] = {
        0xff,
        0xf1,                  // MPEG-4, no checksum
        1u << 6 | index << 2,  // AAC-LC
        1u << 6 | static_cast<unsigned>(length >> 11),
        static_cast<unsigned>(length >> 3 & 0xff),
        static_cast<unsigned>(length & 7) << 5 | 0x1f,
        0xfc,
    };
    return {std::begin(bytes), std::end(bytes)};
}

std::unique_ptr<AVCodecContext, Deleter> Open(int rate) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    std::unique_ptr<AVCodecContext, Deleter> context(codec ? avcodec_alloc_context3(codec)
                                                           : nullptr);
    if (!context)
        Fail();
    context->sample_rate = rate;
    context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context->bit_rate = kBitRate;
    av_channel_layout_default(&context->ch_layout, 1);
    if (avcodec_open2(context.get(), codec, nullptr) < 0 || context->frame_size != kAacFrameSamples)
        Fail();
    return context;
}

void Send(AVCodecContext& context, const float* samples) {
    const std::unique_ptr<AVFrame, Deleter> frame(av_frame_alloc());
    frame->nb_samples = kAacFrameSamples;
    frame->format = AV_SAMPLE_FMT_FLTP;
    av_channel_layout_copy(&frame->ch_layout, &context.ch_layout);
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        Fail();
    std::copy_n(samples, kAacFrameSamples, reinterpret_cast<float*>(frame->data[0]));
    if (avcodec_send_frame(&context, frame.get()) < 0)
        Fail();
}

void Receive(AVCodecContext& context, int rate, std::vector<std::string>& units) {
    const std::unique_ptr<AVPacket, Deleter> packet(av_packet_alloc());
    while (avcodec_receive_packet(&context, packet.get()) == 0) {
        const auto size = static_cast<size_t>(packet->size);
        std::string unit = AdtsHeader(size, rate);
        unit.append(reinterpret_cast<const char*>(packet->data), size);
        units.push_back(std::move(unit));
        av_packet_unref(packet.get());
    }
}

}  // namespace

std::vector<std::string> EncodeAdts(const std::vector<float>& samples, int rate) {
    av_log_set_level(AV_LOG_WARNING);
    const auto context = Open(rate);
    std::vector<std::string> units;
    for (size_t at = 0; at + kAacFrameSamples <= samples.size(); at += kAacFrameSamples) {
        Send(*context, &samples[at]);
        Receive(*context, rate, units);
    }
    avcodec_send_frame(context.get(), nullptr);
    Receive(*context, rate, units);
    if (units.empty())
        Fail();
    return units;
}

}  // namespace vms::sim::httpdevice
