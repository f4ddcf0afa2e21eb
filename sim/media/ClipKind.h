#pragma once

#include <array>

namespace vms::sim {

/// The encoded loops that there are.
enum class ClipKind { H264Main, H264Sub, H265Main };

struct ClipFormat {
    const char* name;
    bool h265;
    int width;
    int height;
    int framesPerSecond;
    int kilobitsPerSecond;
};

inline constexpr std::array<ClipKind, 3> kAllClips = {ClipKind::H264Main, ClipKind::H264Sub,
                                                      ClipKind::H265Main};

inline constexpr ClipFormat FormatOf(ClipKind kind) {
    switch (kind) {
        case ClipKind::H264Main:
            return {"h264-main", false, 1280, 720, 25, 1500};
        case ClipKind::H264Sub:
            return {"h264-sub", false, 640, 360, 25, 400};
        case ClipKind::H265Main:
            break;
    }
    return {"h265-main", true, 1280, 720, 25, 1000};
}

}  // namespace vms::sim
