#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "media/unit/MediaHeader.h"

namespace vms {

/// One unit of a stream, header and payload, on its way to any number of players: its bytes are
/// shared by all copies and never change; its header has been read once. A copy costs a reference.
/// Thread-safe as far as a value is.
class MediaUnit {
public:
    /// No unit: no bytes.
    MediaUnit() = default;

    /// Copies the bytes of a unit. What is too short to have a header is a unit of no codec that
    /// stands alone. @throws std::bad_alloc
    static MediaUnit Copy(std::string_view bytes);

    /// Header and payload, as they go to players.
    std::string_view Bytes() const { return {bytes_.get(), size_}; }
    /// Empty when there is no header either.
    std::string_view Payload() const {
        return size_ < kMediaHeaderSize ? std::string_view() : Bytes().substr(kMediaHeaderSize);
    }
    const MediaUnitHeader& Header() const { return header_; }
    UnitKind Kind() const { return kind_; }

    /// The bytes alone, for who does not need the header.
    const std::shared_ptr<const char[]>& Owner() const { return bytes_; }

private:
    std::shared_ptr<const char[]> bytes_;
    size_t size_ = 0;
    MediaUnitHeader header_;
    UnitKind kind_ = UnitKind::kOther;
};

}  // namespace vms
