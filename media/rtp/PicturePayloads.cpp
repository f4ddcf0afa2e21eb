#include "media/rtp/PicturePayloads.h"

#include <algorithm>

#include "media/MediaError.h"
#include "media/mux/TrackParameters.h"
#include "media/packet/ParameterSets.h"

namespace vms {
namespace {

/// Not sent; but libav wants one where a device does not tell it.
constexpr uint16_t kAnySize = 16;

}  // namespace

PicturePayloads::PicturePayloads(const MediaUnit& key) {
    const std::string sets =
        ParameterSetsOf(static_cast<VideoCodec>(key.Header().codec), key.Payload());
    if (sets.empty())
        throw MediaError("a key picture without parameter sets");
    MediaUnitHeader header = key.Header();
    header.width = std::max(header.width, kAnySize);
    header.height = std::max(header.height, kAnySize);
    DescribePictures(muxer_.Track(), header, sets);
    muxer_.Begin();
}

uint32_t PicturePayloads::Split(const MediaUnit& unit, RtpPayloadSink& sink) {
    muxer_.Split(unit.Payload(), sink);
    return 0;
}

}  // namespace vms
