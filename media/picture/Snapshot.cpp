#include "media/picture/Snapshot.h"

#include <algorithm>

#include "media/picture/PictureDecoder.h"
#include "media/picture/PictureEncoder.h"

namespace vms {
namespace {

constexpr int kSmallest = 2;  ///< pixels

bool IsWholeJpeg(const MediaUnit& unit) {
    const std::string_view payload = unit.Payload();
    return unit.Header().Codec() == MediaCodec::kJpeg && payload.starts_with("\xff\xd8\xff") &&
           payload.ends_with("\xff\xd9");
}

int Even(int64_t pixels) {
    return std::max(static_cast<int>(pixels & ~int64_t{1}), kSmallest);
}

}  // namespace

std::string SnapshotOf(const MediaUnit& keyPicture, int width) {
    if (width == 0 && IsWholeJpeg(keyPicture))
        return std::string(keyPicture.Payload());
    const FramePtr picture = DecodePicture(keyPicture);
    if (width == 0 || width >= picture->width)
        return EncodeJpeg(*picture, picture->width, picture->height);
    const int64_t height = int64_t{picture->height} * width / picture->width;
    return EncodeJpeg(*picture, Even(width), Even(height));
}

}  // namespace vms
