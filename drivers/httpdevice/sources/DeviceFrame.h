#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "media/unit/MediaHeader.h"

namespace vms::httpdevice {

/// Bytes in front of the payload of a device's media frame.
inline constexpr size_t kFrameHeaderSize = 36;

/// What the header of a device's frame says.
struct DeviceFrame {
    MediaUnitHeader unit;     ///< all but the timestamp
    int64_t timeMs = 0;       ///< ms since the epoch for recordings; 0 to the year 9999
    uint16_t generation = 0;  ///< seeks of the stream before this frame

    bool IsVideo() const { return unit.type == MediaType::kVideo; }
};

/// Whether a message is a frame: long enough, of a known kind, and as long as it says. Re-entrant.
bool IsDeviceFrame(const char* data, int length);

/// Reads the header. Re-entrant. @param data of which IsDeviceFrame is true
DeviceFrame ReadDeviceFrame(const char* data);

/// A frame of audio for the device's speaker. Re-entrant.
/// @param codec,rate as agreed. @param serial counts the frames of the talk
std::string MakeTalkFrame(AudioCodec codec, int rate, uint32_t serial, uint64_t timestampMs,
                          const char* data, size_t length);

}  // namespace vms::httpdevice
