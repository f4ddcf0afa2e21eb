#include "media/mux/TrackParameters.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cstring>

#include "media/MediaError.h"
#include "media/packet/LibavCodec.h"

namespace vms {
namespace {

constexpr int kTelephone = 8000;

void SetExtraData(AVCodecParameters& parameters, const void* bytes, size_t size) {
    auto* const copy = static_cast<uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (copy == nullptr)
        throw MediaError("out of memory");
    std::memcpy(copy, bytes, size);
    av_freep(&parameters.extradata);
    parameters.extradata = copy;
    parameters.extradata_size = static_cast<int>(size);
}

}  // namespace

void DescribePictures(AVStream& track, const MediaUnitHeader& header,
                      std::string_view parameterSets) {
    AVCodecParameters& parameters = *track.codecpar;
    parameters.codec_type = AVMEDIA_TYPE_VIDEO;
    parameters.codec_id = LibavCodec(header.Codec());
    parameters.width = header.width;
    parameters.height = header.height;
    if (!parameterSets.empty())
        SetExtraData(parameters, parameterSets.data(), parameterSets.size());
}

void DescribeAac(AVStream& track, const AacConfig& config) {
    AVCodecParameters& parameters = *track.codecpar;
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = AV_CODEC_ID_AAC;
    parameters.profile = config.profile;
    parameters.sample_rate = SampleRate(config);
    parameters.frame_size = 1024;
    const bool isLast = config.channels == 7;  // configuration 7 has eight
    av_channel_layout_default(&parameters.ch_layout, isLast ? 8 : config.channels);
    const auto bytes = MakeAacConfig(config);
    SetExtraData(parameters, bytes.data(), bytes.size());
}

void DescribeSound(AVStream& track, const MediaUnitHeader& header) {
    AVCodecParameters& parameters = *track.codecpar;
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = LibavCodec(header.Codec());
    parameters.sample_rate = header.rate > 0 ? header.rate : kTelephone;
    parameters.ch_layout = AV_CHANNEL_LAYOUT_MONO;
}

}  // namespace vms
