#pragma once

#include <cstdint>
#include <vector>

#include "media/unit/MediaHeader.h"

namespace vms {

/// A video or audio frame in the form that players take, with room for the unit's header in front.
struct MediaPacket {
    MediaUnitHeader header;  ///< all but serial and timestamp
    int64_t timeMs = 0;      ///< ms since the Unix epoch, UTC, in decoding order
    std::vector<char> unit;  ///< kMediaHeaderSize bytes, then the payload

    bool IsVideo() const { return header.type == MediaType::kVideo; }
    bool IsKey() const {
        return IsVideo() && header.frameType == static_cast<uint8_t>(FrameType::kKey);
    }
};

}  // namespace vms
