#pragma once

#include <map>
#include <memory>
#include <string>

#include "sim/media/Clip.h"

namespace vms::sim {

using ClipMap = std::map<ClipKind, std::shared_ptr<const Clip>>;

/// All clips, encoded side by side, or read from `cacheFolder` where an earlier start left them.
/// An empty folder name means no cache; a damaged or unwritable cache only costs the encoding.
/// @throws std::runtime_error when encoding fails
ClipMap LoadClips(const std::string& cacheFolder);

}  // namespace vms::sim
