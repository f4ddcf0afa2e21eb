#pragma once

#include <cstddef>
#include <cstdint>

namespace vms {

inline constexpr size_t kDeviceFrameHeaderSize = 36;
inline constexpr size_t kStreamFrameHeaderSize = 32;

/// What the rest of the preview client wants to know of a frame.
struct PreviewFrame {
    bool isVideo = false;
    uint32_t serial = 0;
    uint32_t timestamp = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

/// Turns the header of a device's media frame into that of a stream frame. Re-entrant.
/// @param device kDeviceFrameHeaderSize bytes
/// @param stream kStreamFrameHeaderSize bytes, every one of which is written
PreviewFrame ConvertPreviewHeader(const char* device, char* stream);

}  // namespace vms
