#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "sim/media/ClipKind.h"

namespace vms::sim {

/// An encoded loop: one access unit a frame in Annex B, the first a key frame, groups of pictures
/// closed, no reordering. Constant once made.
struct Clip {
    struct Frame {
        std::string bytes;
        bool key = false;
    };

    ClipKind kind = ClipKind::kH264Main;
    std::vector<Frame> frames;

    std::chrono::nanoseconds FrameDuration() const {
        return std::chrono::nanoseconds(std::chrono::seconds(1)) / FormatOf(kind).framesPerSecond;
    }
};

}  // namespace vms::sim
