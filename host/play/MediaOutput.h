#pragma once

#include <memory>
#include <string>

#include "host/play/UnitHeader.h"

namespace vms {

/// A file for what a player receives, by its ending: ts, mkv and mp4 are containers; h264, h265,
/// mjpeg, aac, alaw and mulaw take the bare elementary stream of that codec.
/// @throws HostError for other endings, and when the file cannot be made
std::unique_ptr<UnitSink> OpenMediaOutput(const std::string& path);

}  // namespace vms
