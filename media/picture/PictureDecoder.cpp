#include "media/picture/PictureDecoder.h"

#include <cstring>

#include "media/MediaError.h"
#include "media/packet/LibavCodec.h"
#include "media/packet/LibavInput.h"

namespace vms {
namespace {

CodecPtr OpenDecoder(MediaCodec codec) {
    const AVCodec* const decoder = avcodec_find_decoder(LibavCodec(codec));
    if (decoder == nullptr || decoder->type != AVMEDIA_TYPE_VIDEO)
        throw MediaError(std::string("no picture can be made of ") + CodecName(codec));
    CodecPtr context(avcodec_alloc_context3(decoder));
    if (context == nullptr)
        throw MediaError("out of memory");
    context->thread_count = 1;
    context->max_pixels = kMostPixels;
    context->err_recognition = AV_EF_EXPLODE;  // no guesses where something is missing
    if (const int error = avcodec_open2(context.get(), decoder, nullptr); error < 0)
        throw MediaError(LibavError(error));
    return context;
}

PacketPtr PacketOf(std::string_view payload) {
    PacketPtr packet(av_packet_alloc());
    if (packet == nullptr || av_new_packet(packet.get(), static_cast<int>(payload.size())) < 0)
        throw MediaError("out of memory");
    std::memcpy(packet->data, payload.data(), payload.size());
    packet->flags = AV_PKT_FLAG_KEY;
    return packet;
}

}  // namespace

FramePtr DecodePicture(const MediaUnit& keyPicture) {
    const CodecPtr decoder = OpenDecoder(keyPicture.Header().Codec());
    const PacketPtr packet = PacketOf(keyPicture.Payload());
    FramePtr frame(av_frame_alloc());
    if (frame == nullptr)
        throw MediaError("out of memory");
    int result = avcodec_send_packet(decoder.get(), packet.get());
    if (result >= 0)
        result = avcodec_send_packet(decoder.get(), nullptr);  // no other picture is waited for
    if (result >= 0)
        result = avcodec_receive_frame(decoder.get(), frame.get());
    if (result < 0 || frame->decode_error_flags != 0 ||
        (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->width <= 0 || frame->height <= 0)
        throw MediaError("the picture is damaged or too large");
    return frame;
}

}  // namespace vms
