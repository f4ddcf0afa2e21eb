#pragma once

#include "sim/media/Clip.h"

namespace vms::sim {

/// Encodes a test picture with the running time burnt in. Takes a second or two of CPU.
/// @throws std::runtime_error when an encoder is missing or fails
Clip EncodeClip(ClipKind kind);

}  // namespace vms::sim
