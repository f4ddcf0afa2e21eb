#include "media/picture/PictureEncoder.h"

extern "C" {
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include "media/MediaError.h"
#include "media/packet/LibavInput.h"

namespace vms {
namespace {

constexpr int kQuality = 4;  ///< of 2 (best) to 31

struct ScalerDeleter {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

void Check(int result) {
    if (result < 0)
        throw MediaError(LibavError(result));
}

using ScalerPtr = std::unique_ptr<SwsContext, ScalerDeleter>;

ScalerPtr OpenScaler(const AVFrame& from, const AVFrame& to) {
    ScalerPtr scaler(sws_alloc_context());
    if (scaler == nullptr)
        throw MediaError("out of memory");
    const auto set = [&](const char* name, int value) {
        av_opt_set_int(scaler.get(), name, value, 0);
    };
    // Older decoders tell the full range by the format alone.
    const bool isFull = from.color_range == AVCOL_RANGE_JPEG ||
                        from.format == AV_PIX_FMT_YUVJ420P || from.format == AV_PIX_FMT_YUVJ422P ||
                        from.format == AV_PIX_FMT_YUVJ444P;
    set("srcw", from.width);
    set("srch", from.height);
    set("src_format", from.format);
    set("src_range", isFull ? 1 : 0);
    set("dstw", to.width);
    set("dsth", to.height);
    set("dst_format", to.format);
    set("dst_range", 1);
    set("sws_flags", SWS_AREA);
    if (sws_init_context(scaler.get(), nullptr, nullptr) < 0)
        throw MediaError("the picture's format is not known");
    return scaler;
}

/// In the size and the range of values that JPEG has.
FramePtr Scale(const AVFrame& picture, int width, int height) {
    FramePtr scaled(av_frame_alloc());
    if (scaled == nullptr)
        throw MediaError("out of memory");
    scaled->format = AV_PIX_FMT_YUV420P;
    scaled->width = width;
    scaled->height = height;
    scaled->color_range = AVCOL_RANGE_JPEG;
    Check(av_frame_get_buffer(scaled.get(), 0));
    const auto scaler = OpenScaler(picture, *scaled);
    Check(sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, scaled->data,
                    scaled->linesize));
    return scaled;
}

CodecPtr OpenEncoder(int width, int height) {
    const AVCodec* const encoder = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    CodecPtr context(encoder == nullptr ? nullptr : avcodec_alloc_context3(encoder));
    if (context == nullptr)
        throw MediaError("there is no JPEG encoder");
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->color_range = AVCOL_RANGE_JPEG;
    context->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    context->time_base = {1, 1};
    context->thread_count = 1;
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = FF_QP2LAMBDA * kQuality;
    Check(avcodec_open2(context.get(), encoder, nullptr));
    return context;
}

}  // namespace

std::string EncodeJpeg(const AVFrame& picture, int width, int height) {
    const FramePtr scaled = Scale(picture, width, height);
    const CodecPtr encoder = OpenEncoder(width, height);
    const PacketPtr packet(av_packet_alloc());
    if (packet == nullptr)
        throw MediaError("out of memory");
    scaled->quality = encoder->global_quality;
    Check(avcodec_send_frame(encoder.get(), scaled.get()));
    Check(avcodec_send_frame(encoder.get(), nullptr));
    Check(avcodec_receive_packet(encoder.get(), packet.get()));
    return {reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size)};
}

}  // namespace vms
