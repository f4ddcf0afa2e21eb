#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "media/unit/MediaHeader.h"

namespace vms {

/// Whether an Annex B access unit carries a sequence parameter set. Re-entrant.
bool HasParameterSets(VideoCodec codec, const uint8_t* data, size_t size);

/// The parameter sets in front of an access unit's first slice, as Annex B with start codes of four
/// bytes; "" = it has none. Re-entrant.
std::string ParameterSetsOf(VideoCodec codec, std::string_view accessUnit);

/// Whether bytes begin with an Annex B start code.
bool StartsWithStartCode(const uint8_t* data, size_t size);

}  // namespace vms
