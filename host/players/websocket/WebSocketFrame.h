#pragma once

#include "host/net/Chunk.h"
#include "media/unit/MediaUnit.h"

namespace vms::host {

// Header of a whole, unmasked WebSocket message, as a server sends it (RFC 6455, 5.2).
//
//     byte 0   0x80 (final) | opcode: 1 text, 2 binary
//     byte 1   length below 126, or 126: 2 bytes follow, or 127: 8 bytes follow (big-endian)

FramePrefix TextFrame(size_t payloadBytes);
FramePrefix BinaryFrame(size_t payloadBytes);

/// A unit as a binary message; shares its bytes.
Chunk UnitFrame(const MediaUnit& unit);

}  // namespace vms::host
