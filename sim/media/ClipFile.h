#pragma once

#include <optional>
#include <string>

#include "sim/media/Clip.h"

namespace vms::sim {

/// A clip as one block of bytes:
///
///     "DSCLIP1\n"  then for each frame:  1 byte key flag | 4 bytes length, little-endian | bytes
std::string PackClip(const Clip& clip);

/// @return nothing when the bytes are not a whole clip that begins with a key frame
std::optional<Clip> UnpackClip(ClipKind kind, const std::string& bytes);

}  // namespace vms::sim
