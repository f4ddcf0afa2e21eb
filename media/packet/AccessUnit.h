#pragma once

#include <string_view>

#include "media/unit/MediaHeader.h"

namespace vms {

/// Whether Annex B bytes hold a piece of a picture, and not only what describes one. Re-entrant.
bool HasSlice(VideoCodec codec, std::string_view accessUnit);

}  // namespace vms
