#pragma once

#include <cstdint>

#include "media/unit/MediaUnit.h"

namespace vms {

/// The size of an H.264 or H.265 key picture as its parameter sets tell it, in pixels; left alone
/// when they do not. Re-entrant.
void ReadPictureSize(const MediaUnit& keyPicture, uint16_t& width, uint16_t& height);

}  // namespace vms
