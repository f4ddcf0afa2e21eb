#include "media/packet/LibavCodec.h"

namespace vms {

AVCodecID LibavCodec(MediaCodec codec) {
    switch (codec) {
        case MediaCodec::kH264:
            return AV_CODEC_ID_H264;
        case MediaCodec::kH265:
            return AV_CODEC_ID_HEVC;
        case MediaCodec::kJpeg:
            return AV_CODEC_ID_MJPEG;
        case MediaCodec::kALaw:
            return AV_CODEC_ID_PCM_ALAW;
        case MediaCodec::kMuLaw:
            return AV_CODEC_ID_PCM_MULAW;
        case MediaCodec::kAac:
            return AV_CODEC_ID_AAC;
        case MediaCodec::kUnknown:
        case MediaCodec::kFace:
            break;
    }
    return AV_CODEC_ID_NONE;
}

}  // namespace vms
