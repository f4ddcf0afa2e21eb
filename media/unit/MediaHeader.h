#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vms {

/// Bytes in front of every payload that goes to a player.
inline constexpr size_t kMediaHeaderSize = 32;

enum class MediaType : uint8_t { kVideo = 0, kAudio = 1, kFace = 3 };

enum class FrameType : uint8_t { kNone = 0, kKey = 1, kPredicted = 2 };

enum class VideoCodec : uint8_t { kJpeg = 0x1a, kH264 = 0x60, kH265 = 0x96 };

/// AAC at 8 kHz has a code of its own.
enum class AudioCodec : uint8_t { kALaw = 1, kMuLaw = 2, kAac = 0x15, kAac8kHz = 0x21 };

/// How a payload is coded, whatever its header calls it.
enum class MediaCodec : uint8_t { kUnknown, kH264, kH265, kJpeg, kALaw, kMuLaw, kAac, kFace };

/// What a slow player can do without.
enum class UnitKind : uint8_t {
    kKeyPicture,  ///< a video unit that decodes by itself
    kPicture,     ///< a video unit that needs those before it
    kOther,       ///< sound, a face or data that is no media unit: stands alone
};

/// What the header of a media unit says; fields that a media type does not use stay 0.
struct MediaUnitHeader {
    MediaType type = MediaType::kVideo;
    uint8_t frameType = 0;     ///< FrameType of video; packet type (0..31) of a face unit
    uint8_t codec = 0;         ///< VideoCodec or AudioCodec; not for face units
    uint32_t faceLength = 0;   ///< bytes of a face unit's payload, below 4 MiB
    uint32_t serial = 0;       ///< counts the units of a source
    uint32_t timestampMs = 0;  ///< ms
    uint16_t width = 0;        ///< pixels
    uint16_t height = 0;       ///< pixels
    uint16_t rate = 0;         ///< frames or samples per second; 0 = unknown

    bool IsVideo() const { return type == MediaType::kVideo; }
    bool IsKeyPicture() const {
        return IsVideo() && frameType == static_cast<uint8_t>(FrameType::kKey);
    }
    UnitKind Kind() const;
    MediaCodec Codec() const;
};

/// Short name such as "h264".
const char* CodecName(MediaCodec codec);

/// Writes the header of a unit. Re-entrant.
/// @param out kMediaHeaderSize bytes, every one of which is written
void WriteMediaHeader(const MediaUnitHeader& header, char* out);

/// Reads the header of a unit. Re-entrant.
/// @return false when the unit is shorter than that; the header is left alone
[[nodiscard]] bool ReadMediaHeader(std::string_view unit, MediaUnitHeader& header);

}  // namespace vms
