#include "host/players/websocket/WebSocketFrame.h"

#include <cstdint>

#include "platform/ByteFields.h"

namespace vms::host {
namespace {

FramePrefix Make(unsigned opcode, size_t length) {
    constexpr unsigned kFinal = 0x80;
    FramePrefix prefix;
    prefix.bytes[0] = static_cast<char>(kFinal | opcode);
    if (length < 126) {
        prefix.bytes[1] = static_cast<char>(length);
        prefix.size = 2;
    } else if (length <= UINT16_MAX) {
        prefix.bytes[1] = 126;
        SetBigField(prefix.bytes.data(), 2, static_cast<uint16_t>(length));
        prefix.size = 4;
    } else {
        prefix.bytes[1] = 127;
        SetBigField(prefix.bytes.data(), 2, uint64_t{length});
        prefix.size = 10;
    }
    return prefix;
}

}  // namespace

FramePrefix TextFrame(size_t payloadBytes) {
    return Make(1, payloadBytes);
}

FramePrefix BinaryFrame(size_t payloadBytes) {
    return Make(2, payloadBytes);
}

Chunk UnitFrame(const MediaUnit& unit) {
    return {BinaryFrame(unit.Bytes().size()), unit.Bytes(), unit.Owner(), unit.Kind(),
            unit.Header().timestampMs};
}

}  // namespace vms::host
