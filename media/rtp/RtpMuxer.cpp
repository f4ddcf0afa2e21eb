#include "media/rtp/RtpMuxer.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <exception>

#include "media/MediaError.h"
#include "media/packet/LibavInput.h"

namespace vms {
namespace {

constexpr size_t kHeaderSize = 12;
constexpr int kPacketBytes = static_cast<int>(RtpPayloads::kMostBytes + kHeaderSize);
constexpr int kMostPicture = 64 << 20;

/// Takes a line out that begins like this.
void RemoveLine(std::string& text, std::string_view begin) {
    const size_t at = text.find(begin);
    if (at != text.npos)
        text.erase(at, text.find('\n', at) - at + 1);
}

}  // namespace

RtpMuxer::RtpMuxer() {
    AVFormatContext* format = nullptr;
    const int error = avformat_alloc_output_context2(&format, nullptr, "rtp", nullptr);
    format_.reset(format);
    if (error < 0)
        throw MediaError(LibavError(error));
    if (avformat_new_stream(format, nullptr) == nullptr)
        throw MediaError("out of memory");
}

void RtpMuxer::FormatDeleter::operator()(AVFormatContext* format) const {
    if (format->pb != nullptr) {
        av_write_trailer(format);
        av_freep(&format->pb->buffer);
    }
    avio_context_free(&format->pb);
    avformat_free_context(format);
}

std::string RtpMuxer::Description(int payloadType) const {
    char text[8192] = "";
    if (payloadType != 0)
        av_opt_set_int(format_->priv_data, "payload_type", payloadType, 0);
    AVFormatContext* format = format_.get();
    if (av_sdp_create(&format, 1, text, sizeof text) < 0)
        throw MediaError("the track cannot be described");
    std::string description(text);
    const size_t media = description.find("m=");
    if (media == description.npos)
        throw MediaError("the track cannot be described");
    description.erase(0, media);
    RemoveLine(description, "a=control:");
    return description;
}

void RtpMuxer::Begin() {
    auto* const buffer = static_cast<uint8_t*>(av_malloc(kPacketBytes));
    if (buffer == nullptr)
        throw MediaError("out of memory");
    AVIOContext* const io =
        avio_alloc_context(buffer, kPacketBytes, 1, this, nullptr, &RtpMuxer::WritePacket, nullptr);
    if (io == nullptr) {
        av_free(buffer);
        throw MediaError("out of memory");
    }
    io->max_packet_size = kPacketBytes;
    format_->packet_size = kPacketBytes;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "rtpflags", "skip_rtcp", 0);
    format_->pb = io;
    const int error = avformat_write_header(format_.get(), &options);
    av_dict_free(&options);
    if (error < 0) {
        av_freep(&format_->pb->buffer);
        avio_context_free(&format_->pb);
        throw MediaError(LibavError(error));
    }
}

bool RtpMuxer::Split(std::string_view picture, RtpPayloadSink& sink) {
    if (picture.empty() || picture.size() > kMostPicture)
        return false;
    const PacketPtr packet(av_packet_alloc());
    if (packet == nullptr || av_new_packet(packet.get(), static_cast<int>(picture.size())) < 0)
        throw std::bad_alloc();
    picture.copy(reinterpret_cast<char*>(packet->data), picture.size());
    packet->pts = packet->dts = ++pictures_;
    sink_ = &sink;
    const int error = av_write_frame(format_.get(), packet.get());
    sink_ = nullptr;
    return error >= 0;
}

int RtpMuxer::WritePacket(void* self, uint8_t* data, int size) {
    auto& muxer = *static_cast<RtpMuxer*>(self);
    const std::string_view packet(reinterpret_cast<const char*>(data), static_cast<size_t>(size));
    if (muxer.sink_ == nullptr || packet.size() <= kHeaderSize)
        return size;
    const bool hasMarker = (data[1] & 0x80) != 0;
    try {
        muxer.sink_->Take(packet.substr(kHeaderSize), hasMarker, 0);
        return size;
    } catch (const std::exception&) {
        return AVERROR(ENOMEM);
    }
}

}  // namespace vms
