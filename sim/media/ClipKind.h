#pragma once

#include <array>

namespace vms::sim {

/// The encoded loops that there are.
enum class ClipKind { kH264Main, kH264Sub, kH265Main };

struct ClipFormat {
    const char* name;
    bool h265;
    int width;
    int height;
    int framesPerSecond;
    int kilobitsPerSecond;
};

inline constexpr std::array<ClipKind, 3> kAllClips = {ClipKind::kH264Main, ClipKind::kH264Sub,
                                                      ClipKind::kH265Main};

inline constexpr ClipFormat FormatOf(ClipKind kind) {
    switch (kind) {
        case ClipKind::kH264Main:
            return {"h264-main", false, 1280, 720, 25, 1500};
        case ClipKind::kH264Sub:
            return {"h264-sub", false, 640, 360, 25, 400};
        case ClipKind::kH265Main:
            break;
    }
    return {"h265-main", true, 1280, 720, 25, 1000};
}

}  // namespace vms::sim
