#pragma once

#include "media/picture/LibavFrame.h"
#include "media/unit/MediaUnit.h"

namespace vms {

/// Largest picture that is decoded, pixels: 8K has 33 million.
inline constexpr int64_t kMostPixels = 40'000'000;

/// Decodes a key picture of any codec, on the calling thread. Re-entrant.
/// @throws MediaError when it is damaged, too large, or no picture
FramePtr DecodePicture(const MediaUnit& keyPicture);

}  // namespace vms
