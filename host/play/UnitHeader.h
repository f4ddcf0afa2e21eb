#pragma once

#include <cstdint>
#include <string_view>

namespace vms {

/// Kind and coding of a media unit.
enum class UnitCodec { unknown, h264, h265, jpeg, alaw, mulaw, aac, face };

/// Short name such as "h264".
const char* CodecName(UnitCodec codec);

/// What the 32 bytes in front of a media unit's payload say; host byte order.
///
///     4  flags: bits 0-1 media type (0 video, 1 audio, 3 face), bits 2-6 frame type (1 key)
///     9  video codec   10 audio codec   12 serial   16 timestamp, ms   20 width   22 height
///     26 rate, or 0: frames or samples per second
struct UnitHeader {
    static constexpr size_t kSize = 32;

    UnitCodec codec = UnitCodec::unknown;
    bool isVideo = false;
    bool isKey = false;
    uint32_t serial = 0;
    uint32_t timestampMs = 0;
    int width = 0;   ///< pixels
    int height = 0;  ///< pixels
    int rate = 0;    ///< 0 = unknown
};

/// @return false when the unit is shorter than its header
bool ReadUnitHeader(std::string_view unit, UnitHeader& header);

/// Takes the media that a player receives. Thread-bound.
class UnitSink {
public:
    virtual ~UnitSink() = default;
    virtual void Take(const UnitHeader& header, std::string_view payload) = 0;
    /// After the last unit. @throws HostError when what was taken is not safely kept
    virtual void Finish() = 0;
};

}  // namespace vms
