#pragma once

#include <string>

#include "media/unit/MediaUnit.h"

namespace vms {

/// A key picture of a stream as a JPEG file, made on the calling thread: some 10 ms for 720p. One
/// that is JPEG already is given as it is, unless it has to be made smaller. Re-entrant.
/// @param width pixels, over 0; 0 = as it is. A picture keeps its shape and is never enlarged
/// @throws MediaError when the picture is damaged, too large, or none
std::string SnapshotOf(const MediaUnit& keyPicture, int width);

}  // namespace vms
