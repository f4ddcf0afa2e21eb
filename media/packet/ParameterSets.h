#pragma once

#include <cstddef>
#include <cstdint>

#include "media/unit/MediaHeader.h"

namespace vms {

/// Whether an Annex B access unit carries a sequence parameter set. Re-entrant.
bool HasParameterSets(VideoCodec codec, const uint8_t* data, size_t size);

/// Whether bytes begin with an Annex B start code.
bool StartsWithStartCode(const uint8_t* data, size_t size);

}  // namespace vms
