#pragma once

#include <array>
#include <cstddef>

namespace vms {

/// Header of a whole, unmasked WebSocket message, as a server sends it (RFC 6455, 5.2).
///
///     byte 0   0x80 (final) | opcode: 1 text, 2 binary
///     byte 1   length below 126, or 126: 2 bytes follow, or 127: 8 bytes follow (big-endian)
struct FrameHeader {
    std::array<char, 10> bytes;
    size_t size;  ///< 2, 4 or 10
};

FrameHeader TextFrame(size_t payloadBytes);
FrameHeader BinaryFrame(size_t payloadBytes);

}  // namespace vms
