#pragma once

#include <array>

#include "media/unit/MediaHeader.h"

namespace vms {

/// What each code of A-law or mu-law (ITU-T G.711) stands for, between -1 and 1. Re-entrant.
/// @param codec one of the two
const std::array<float, 256>& ExpansionOf(MediaCodec codec);

}  // namespace vms
