#pragma once

#include <cstddef>

namespace vms {

/// What the stream server must know of a media unit to choose what a slow player can do without.
enum class UnitKind {
    keyPicture,  ///< a video unit that decodes by itself
    picture,     ///< a video unit that needs those before it
    other,       ///< sound, a face or data that is no media unit: stands alone
};

/// Reads the word at offset 4 of a unit's header: bits 0 to 1 media type (0 = video), bits 2 to 6
/// frame type (1 = key frame).
UnitKind KindOfUnit(const char* data, size_t length);

}  // namespace vms
