#include "media/rtp/RtpPayloads.h"

#include "media/MediaError.h"
#include "media/rtp/JpegPayloads.h"
#include "media/rtp/PicturePayloads.h"
#include "media/rtp/SoundPayloads.h"

namespace vms {

std::unique_ptr<RtpPayloads> RtpPayloads::Make(const MediaUnit& first) {
    switch (first.Header().Codec()) {
        case MediaCodec::kH264:
        case MediaCodec::kH265:
            return std::make_unique<PicturePayloads>(first);
        case MediaCodec::kJpeg:
            return std::make_unique<JpegPayloads>(first);
        case MediaCodec::kALaw:
        case MediaCodec::kMuLaw:
            return std::make_unique<G711Payloads>(first);
        case MediaCodec::kAac:
            return std::make_unique<AacPayloads>(first);
        case MediaCodec::kUnknown:
        case MediaCodec::kFace:
            break;
    }
    throw MediaError(std::string("RTP cannot carry ") + CodecName(first.Header().Codec()));
}

}  // namespace vms
