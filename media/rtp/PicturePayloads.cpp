#include "media/rtp/PicturePayloads.h"

#include "media/MediaError.h"
#include "media/mux/TrackParameters.h"
#include "media/packet/ParameterSets.h"

namespace vms {

PicturePayloads::PicturePayloads(const MediaUnit& key) {
    const std::string sets =
        ParameterSetsOf(static_cast<VideoCodec>(key.Header().codec), key.Payload());
    if (sets.empty())
        throw MediaError("a key picture without parameter sets");
    DescribePictures(muxer_.Track(), key.Header(), sets);
    muxer_.Begin();
}

uint32_t PicturePayloads::Split(const MediaUnit& unit, RtpPayloadSink& sink) {
    muxer_.Split(unit.Payload(), sink);
    return 0;
}

}  // namespace vms
