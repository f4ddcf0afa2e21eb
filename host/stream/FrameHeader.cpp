#include "host/stream/FrameHeader.h"

#include <cstdint>

namespace vms {
namespace {

void WriteBigEndian(uint64_t value, size_t width, char* out) {
    for (size_t i = 0; i < width; ++i)
        out[i] = static_cast<char>(value >> (8 * (width - 1 - i)));
}

FrameHeader Make(unsigned opcode, size_t length) {
    constexpr unsigned kFinal = 0x80;
    FrameHeader header{};
    header.bytes[0] = static_cast<char>(kFinal | opcode);
    if (length < 126) {
        header.bytes[1] = static_cast<char>(length);
        header.size = 2;
    } else if (length <= UINT16_MAX) {
        header.bytes[1] = 126;
        WriteBigEndian(length, 2, &header.bytes[2]);
        header.size = 4;
    } else {
        header.bytes[1] = 127;
        WriteBigEndian(length, 8, &header.bytes[2]);
        header.size = 10;
    }
    return header;
}

}  // namespace

FrameHeader TextFrame(size_t payloadBytes) {
    return Make(1, payloadBytes);
}

FrameHeader BinaryFrame(size_t payloadBytes) {
    return Make(2, payloadBytes);
}

}  // namespace vms
