#include "media/mux/ContainerWriter.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

#include <utility>

#include "media/MediaError.h"
#include "media/mux/TrackParameters.h"
#include "platform/ByteFields.h"

namespace vms {
namespace {

constexpr AVRational kMilliseconds{1, 1000};
constexpr AVRational kPictureClock{1, 90'000};
constexpr int kSamplesPerFrame = 1024;
constexpr int kTableVersions = 32;

// A box of MP4: 4 bytes length with header, big-endian | 4 bytes name | contents.
constexpr std::string_view kEmptyBox("\0\0\0\x08mdat", 8);
constexpr size_t kLongestBox = size_t{1} << 20;  ///< beyond, the next one begins

}  // namespace

ContainerWriter::ContainerWriter(LiveContainer container, const StreamTracks& tracks, int number)
    : container_(container),
      output_(bytes_, container == LiveContainer::kTransportStream ? "mpegts" : "mp4"),
      packet_(av_packet_alloc()) {
    if (packet_ == nullptr)
        throw MediaError("out of memory");
    pictures_ = &output_.AddTrack();
    pictures_->time_base = kPictureClock;
    DescribePictures(*pictures_, tracks.pictures, tracks.parameterSets);
    const bool isH265 = tracks.pictures.Codec() == MediaCodec::kH265;
    if (isH265 && container != LiveContainer::kTransportStream)
        pictures_->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
    if (tracks.sound)
        AddSound(*tracks.sound);
    Begin(number);
    output_.Flush();
    head_ = bytes_.Take();
    if (container == LiveContainer::kFile)  // its one box of media data stays empty
        head_.replace(head_.size() - kEmptyBox.size(), kEmptyBox.size(), kEmptyBox);
}

void ContainerWriter::AddSound(const AacConfig& config) {
    soundConfig_ = config;
    sound_ = &output_.AddTrack();
    sound_->time_base = {1, SampleRate(config)};
    DescribeAac(*sound_, config);
    if (container_ == LiveContainer::kTransportStream)
        sound_->codecpar->extradata_size = 0;  // frames bring their headers instead
}

void ContainerWriter::Begin(int number) {
    AVFormatContext& format = output_.Format();
    format.max_delay = 0;
    format.flags |= AVFMT_FLAG_FLUSH_PACKETS;
    switch (container_) {
        case LiveContainer::kTransportStream: {
            const std::string version = std::to_string(number % kTableVersions);
            output_.Begin({{"pat_period", "3600"},
                           {"sdt_period", "3600"},
                           {"tables_version", version.c_str()}});
            break;
        }
        case LiveContainer::kFragments:
            output_.Begin({{"movflags", "empty_moov+default_base_moof+frag_custom+skip_sidx"}});
            break;
        case LiveContainer::kFile:
            output_.Begin();
            break;
    }
}

void ContainerWriter::Picture(std::string_view accessUnit, int64_t timeMs, bool isKey,
                              int64_t duration) {
    if (container_ == LiveContainer::kTransportStream && isKey)
        av_opt_set(output_.Format().priv_data, "mpegts_flags", "+resend_headers", 0);
    if (isKey)
        EndBox();
    Fill(*pictures_, accessUnit, isKey);
    packet_->pts = packet_->dts = av_rescale_q(timeMs, kMilliseconds, pictures_->time_base);
    packet_->duration = av_rescale_q(duration, kPictureClock, pictures_->time_base);
    Put();
}

void ContainerWriter::Sound(std::string_view adtsFrame, const AdtsFrame& frame, int64_t begin) {
    if (sound_ == nullptr || frame.config != soundConfig_)
        return;
    const bool keepsHeader = container_ == LiveContainer::kTransportStream;
    const AVRational clock{1, SampleRate(frame.config)};
    Fill(*sound_, adtsFrame.substr(keepsHeader ? 0 : frame.headerSize), true);
    packet_->pts = packet_->dts = av_rescale_q(begin, clock, sound_->time_base);
    packet_->duration = av_rescale_q(kSamplesPerFrame, clock, sound_->time_base);
    Put();
}

/// libav reads some bytes beyond the payload.
void ContainerWriter::Fill(const AVStream& track, std::string_view payload, bool isKey) {
    padded_.assign(payload.begin(), payload.end());
    padded_.resize(payload.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    av_packet_unref(packet_.get());
    packet_->stream_index = track.index;
    packet_->data = padded_.data();
    packet_->size = static_cast<int>(payload.size());
    packet_->flags = isKey ? AV_PKT_FLAG_KEY : 0;
}

void ContainerWriter::Put() {
    if (bytes_.Pending().size() >= kLongestBox)
        EndBox();
    if (container_ == LiveContainer::kFile && !inBox_)
        BeginBox();
    if (container_ == LiveContainer::kFragments)  // else its time is the sum of earlier durations
        av_opt_set(output_.Format().priv_data, "movflags", "+frag_discont", 0);
    output_.Write(packet_.get());
    if (container_ == LiveContainer::kFragments)
        output_.Write(nullptr);  // ends the fragment
    output_.Flush();
}

/// libav counts what is written here as it does its own bytes, so its index is right.
void ContainerWriter::BeginBox() {
    avio_write(output_.Format().pb, reinterpret_cast<const unsigned char*>(kEmptyBox.data()),
               static_cast<int>(kEmptyBox.size()));
    inBox_ = true;
}

void ContainerWriter::EndBox() {
    if (!std::exchange(inBox_, false))
        return;
    output_.Flush();
    std::string& box = bytes_.Pending();
    SetBigField(box.data(), 0, static_cast<uint32_t>(box.size()));
    ready_ += bytes_.Take();
}

void ContainerWriter::End() {
    EndBox();
    output_.End();
    if (container_ == LiveContainer::kFile)
        ready_ += bytes_.Take();
}

std::string ContainerWriter::Take() {
    return container_ == LiveContainer::kFile ? std::exchange(ready_, {}) : bytes_.Take();
}

}  // namespace vms
