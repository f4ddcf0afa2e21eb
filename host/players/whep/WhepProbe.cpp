#include "host/players/whep/WhepProbe.h"

namespace vms::host {
namespace {

constexpr int kParameterSet = 7;  // the type of H.264's NAL unit
constexpr int kTypeBits = 0x1f;
constexpr uint16_t kTelephoneRate = 8000;

WhepSound SoundOf(const MediaUnitHeader& header) {
    if (header.rate != 0 && header.rate != kTelephoneRate)
        return WhepSound::kNone;
    if (header.Codec() == MediaCodec::kALaw)
        return WhepSound::kALaw;
    return header.Codec() == MediaCodec::kMuLaw ? WhepSound::kMuLaw : WhepSound::kNone;
}

}  // namespace

int H264Profile(std::string_view picture) {
    constexpr std::string_view kStart("\0\0\1", 3);
    for (size_t at = picture.find(kStart); at != std::string_view::npos;
         at = picture.find(kStart, at)) {
        at += kStart.size();
        if (at + 1 < picture.size() && (picture[at] & kTypeBits) == kParameterSet)
            return static_cast<unsigned char>(picture[at + 1]);
    }
    return 0;
}

void WhepProbe::Stop() {
    MutexLock lock(mutex_);
    isOver_ = true;
}

void WhepProbe::Take(const MediaUnit& unit) {
    WhepStream stream;
    {
        MutexLock lock(mutex_);
        ++takenUnits_;
        if (isOver_ || !Look(unit))
            return;
        isOver_ = true;
        stream = stream_;
    }
    found_(stream);
}

/// @return whether all is known
bool WhepProbe::Look(const MediaUnit& unit) {
    const MediaUnitHeader& header = unit.Header();
    if (unit.Payload().empty())
        return false;
    if (header.type == MediaType::kAudio && !hasSound_) {
        hasSound_ = true;
        stream_.sound = SoundOf(header);
    }
    if (unit.Kind() == UnitKind::kKeyPicture && !begun_) {
        begun_ = header.timestampMs;
        stream_.video = header.Codec();
        if (stream_.video == MediaCodec::kH264)
            stream_.profile = H264Profile(unit.Payload());
    }
    if (!begun_)
        return false;
    return hasSound_ || stream_.video != MediaCodec::kH264 ||
           static_cast<int32_t>(header.timestampMs - *begun_) >= kSoundWait;
}

OutletCounts WhepProbe::Counts() const {
    MutexLock lock(mutex_);
    return {isOver_ ? size_t{0} : size_t{1}, takenUnits_};
}

}  // namespace vms::host
