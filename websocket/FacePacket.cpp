#include "websocket/FacePacket.h"

#include <cstdint>
#include <cstring>

#include "platform/ByteFields.h"

// From the device, in host byte order:
//
//  0               1               2               3
// +---------------+---------------+---------------+---------------+
// |      signature, 0xA5A5        | packet type: bits 0-4, rest - |   0
// +---------------+---------------+---------------+---------------+
// |                 value: bits 0-21, rest -                      |   4
// +---------------+---------------+---------------+---------------+
// |                               -                               |   8..31
// +---------------+---------------+---------------+---------------+
//
// To the host:
//
// +---------------+---------------+---------------+---------------+
// |                               0                               |   0
// +---------------+---------------+---------------+---------------+
// | flags: bits 0-1 = 3 (face), 2-6 packet type, 7-28 value       |   4
// +---------------+---------------+---------------+---------------+
// |                               0                               |   8..31
// +---------------+---------------+---------------+---------------+

namespace vms {
namespace {

constexpr uint16_t kSignature = 0xA5A5;
constexpr uint32_t kFaceBits = 3;
constexpr uint32_t kTypeMask = 0x1f;
constexpr uint32_t kValueMask = 0x3fffff;

}  // namespace

bool IsFacePacket(const char* device) {
    return FieldAt<uint16_t>(device, 0) == kSignature;
}

void ConvertFaceHeader(const char* device, char* stream) {
    const uint32_t type = FieldAt<uint16_t>(device, 2) & kTypeMask;
    const uint32_t value = FieldAt<uint32_t>(device, 4) & kValueMask;
    const uint32_t flags = kFaceBits | type << 2 | value << 7;
    std::memset(stream, 0, kFaceHeaderSize);
    SetField(stream, 4, flags);
}

}  // namespace vms
