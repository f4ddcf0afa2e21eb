#pragma once

#include <string>

#include "media/picture/LibavFrame.h"

namespace vms {

/// A picture as JPEG. Re-entrant.
/// @param width, height of the JPEG, pixels, over 0
/// @throws MediaError
std::string EncodeJpeg(const AVFrame& picture, int width, int height);

}  // namespace vms
