#include "host/stream/UnitKind.h"

#include <cstdint>
#include <cstring>

namespace vms {

UnitKind KindOfUnit(const char* data, size_t length) {
    constexpr size_t kHeaderSize = 32;
    constexpr size_t kFlagsOffset = 4;
    constexpr uint32_t kTypeMask = 0x3;
    constexpr uint32_t kFrameMask = 0x1f;
    if (length < kHeaderSize)
        return UnitKind::other;
    uint32_t flags = 0;
    std::memcpy(&flags, data + kFlagsOffset, sizeof flags);
    if ((flags & kTypeMask) != 0)
        return UnitKind::other;
    return ((flags >> 2) & kFrameMask) == 1 ? UnitKind::keyPicture : UnitKind::picture;
}

}  // namespace vms
