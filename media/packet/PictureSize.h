#pragma once

#include <cstdint>

#include "media/unit/MediaUnit.h"

namespace vms {

/// Reads the size of an H.264 or H.265 key picture, in pixels, from its parameter sets. Re-entrant.
/// @return false when they do not tell it; the size is left alone
bool ReadPictureSize(const MediaUnit& keyPicture, uint16_t& width, uint16_t& height);

}  // namespace vms
