#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vms::sim::httpdevice {

/// The header in front of every media frame, as docs/device-protocol.md draws it.
struct FrameHeader {
    static constexpr size_t kSize = 36;

    enum class Kind : uint8_t { kAudio = 0, kVideo = 1 };

    uint32_t payloadLength = 0;
    Kind kind = Kind::kVideo;
    uint32_t serial = 0;
    uint64_t timestamp = 0;  ///< milliseconds; low and high half stand apart on the wire
    uint32_t rate = 0;       ///< frames or samples per second
    uint32_t width = 0;
    uint32_t height = 0;
    uint8_t codec = 0;
    uint8_t frameType = 0;  ///< 1 key frame, 2 predicted, 0 audio
    uint16_t generation = 0;
};

std::string Write(const FrameHeader& header);

/// @return nothing when there are fewer than 36 bytes or the kind is unknown
std::optional<FrameHeader> ReadFrameHeader(std::string_view bytes);

/// The header in front of every event packet.
struct EventHeader {
    static constexpr size_t kSize = 32;

    uint16_t signature = 0xA5A5;
    uint16_t type = 4;
    uint32_t payloadLength = 0;
    uint32_t serial = 0;
    uint64_t timestamp = 0;  ///< milliseconds since the epoch
    uint32_t channel = 0;
};

std::string Write(const EventHeader& header);

}  // namespace vms::sim::httpdevice
