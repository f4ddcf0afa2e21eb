#include "media/unit/MediaUnit.h"

#include <cstring>

namespace vms {

MediaUnit MediaUnit::Copy(std::string_view bytes) {
    MediaUnit unit;
    auto copy = std::make_shared_for_overwrite<char[]>(bytes.size());
    std::memcpy(copy.get(), bytes.data(), bytes.size());
    unit.bytes_ = std::move(copy);
    unit.size_ = bytes.size();
    if (ReadMediaHeader(bytes, unit.header_))
        unit.kind_ = unit.header_.Kind();
    return unit;
}

}  // namespace vms
