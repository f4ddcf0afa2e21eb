#include "media/mux/Muxer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cstring>

#include "media/MediaError.h"
#include "media/mux/TrackParameters.h"
#include "media/packet/LibavCodec.h"
#include "media/packet/LibavInput.h"
#include "media/packet/ParameterSets.h"

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

}  // namespace

Muxer::Muxer(std::unique_ptr<ByteSink> bytes, const char* container)
    : bytes_(std::move(bytes)), output_(*bytes_, container) {}

Muxer::~Muxer() = default;

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
    output_.Begin();
    begun_ = true;
    for (const Unit& unit : waiting_)
        Write(unit);
    waiting_.clear();
}

void Muxer::AddTrack(Track& track, const Unit& first) {
    track.codec = first.header.Codec();
    const AVCodecID codec = LibavCodec(track.codec);
    // The transport stream muxer takes anything, as data that no player understands.
    const bool isTransport = std::strcmp(output_.Format().oformat->name, "mpegts") == 0;
    const bool fits =
        isTransport
            ? codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC || codec == AV_CODEC_ID_AAC
            : avformat_query_codec(output_.Format().oformat, codec, FF_COMPLIANCE_NORMAL) == 1;
    if (!fits)
        return;
    track.stream = &output_.AddTrack();
    track.stream->time_base = kMilliseconds;
    if (first.header.IsVideo())
        DescribePictures(
            *track.stream, first.header,
            ParameterSetsOf(static_cast<VideoCodec>(first.header.codec), first.payload));
    else
        DescribeSound(*track.stream, first.header);
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
    output_.WriteInterleaved(*packet);
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
    if (begun_)
        output_.End();
    bytes_->Finish();
}

}  // namespace vms
