#pragma once

#include <string>

#include "sim/media/ClipKind.h"

namespace vms::sim {

/// A media profile: which clip is behind it and what the camera says about it.
struct StreamProfile {
    std::string token;
    std::string name;
    std::string path;  ///< last part of the stream's path
    ClipKind clip;
};

}  // namespace vms::sim
