#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "media/unit/MediaUnit.h"

namespace vms {

/// Finds out what a stream consists of before it is described: from its first units, which are kept
/// meanwhile. Thread-bound.
class RtpProbe {
public:
    /// So much of the stream's time is looked at for sound beside its pictures, ms.
    static constexpr int kLookMs = 500;
    /// As many units at most, and bytes of them.
    static constexpr size_t kMostUnits = 500;
    static constexpr size_t kMostBytes = size_t{16} << 20;

    void Take(const MediaUnit& unit);

    /// Whether pictures and sound have come, or all that could be waited for.
    bool IsKnown() const { return isKnown_; }

    /// Looks no longer. @return false when nothing has come that a stream could begin with
    bool Settle();

    /// A unit that the track begins with; null = there is no such track.
    const MediaUnit* Pictures() const { return pictures_ ? &*pictures_ : nullptr; }
    const MediaUnit* Sound() const { return sound_ ? &*sound_ : nullptr; }

    /// What has been kept, from the key picture on.
    std::vector<MediaUnit> TakeKept() { return std::move(kept_); }

private:
    void Keep(const MediaUnit& unit);

    std::optional<MediaUnit> pictures_;
    std::optional<MediaUnit> sound_;
    bool hasPictures_ = false;  ///< though maybe none to begin with
    bool isKnown_ = false;
    std::vector<MediaUnit> kept_;
    size_t keptBytes_ = 0;
};

}  // namespace vms
