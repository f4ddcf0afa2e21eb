#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "media/unit/MediaHeader.h"

namespace vms::host {

/// The few bytes that a way out puts in front of what it sends.
struct FramePrefix {
    std::array<char, 14> bytes{};
    uint8_t size = 0;
};

/// Bytes on their way to any number of clients, framed as one way out does. The body is shared by
/// the queues of all and never changes. Thread-safe as far as a value is.
struct Chunk {
    FramePrefix prefix;
    std::string_view body;
    std::shared_ptr<const void> owner;  ///< keeps the body
    UnitKind kind = UnitKind::kOther;
    uint32_t timestampMs = 0;
    std::string_view resume{};  ///< goes in front for a client that has lost the unit before; kept
                                ///< by the same owner

    size_t Size() const { return prefix.size + body.size(); }
};

/// A chunk with a copy of these bytes. @throws std::bad_alloc
inline Chunk CopyChunk(const FramePrefix& prefix, std::string_view body) {
    auto copy = std::make_shared<const std::string>(body);
    const std::string_view bytes = *copy;
    return {prefix, bytes, std::move(copy), UnitKind::kOther, 0};
}

}  // namespace vms::host
