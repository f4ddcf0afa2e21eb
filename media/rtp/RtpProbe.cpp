#include "media/rtp/RtpProbe.h"

#include <cstdint>

namespace vms {

void RtpProbe::Take(const MediaUnit& unit) {
    const MediaUnitHeader& header = unit.Header();
    const bool isSound = header.type == MediaType::kAudio;
    if (isKnown_ || (!header.IsVideo() && !isSound) || unit.Payload().empty())
        return;
    hasPictures_ = hasPictures_ || header.IsVideo();
    if (isSound && !sound_)
        sound_ = unit;
    if (header.IsKeyPicture() && !pictures_) {
        pictures_ = unit;
        kept_.clear();
        keptBytes_ = 0;
    }
    if (pictures_ || (isSound && !hasPictures_))
        Keep(unit);
    if (!pictures_)
        return;
    const auto looked = static_cast<int32_t>(header.timestampMs - pictures_->Header().timestampMs);
    isKnown_ = isKnown_ || sound_ || looked >= kLookMs;
}

void RtpProbe::Keep(const MediaUnit& unit) {
    kept_.push_back(unit);
    keptBytes_ += unit.Bytes().size();
    isKnown_ = kept_.size() >= kMostUnits || keptBytes_ >= kMostBytes;
}

bool RtpProbe::Settle() {
    isKnown_ = isKnown_ || pictures_ || (sound_ && !hasPictures_);
    return isKnown_;
}

}  // namespace vms
