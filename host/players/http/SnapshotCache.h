#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "host/sources/StreamAddress.h"
#include "media/unit/MediaUnit.h"

namespace vms::host {

/// The newest JPEG of each stream and width. Keeps the most recently used ones, within bounds. Not
/// thread-safe.
class SnapshotCache {
public:
    static constexpr size_t kMost = 128;
    static constexpr size_t kMostBytes = size_t{32} << 20;

    using Jpeg = std::shared_ptr<const std::string>;

    /// @return null when it has none of this very picture
    Jpeg Find(const StreamAddress& address, int width, const MediaUnit& keyPicture);

    void Keep(const StreamAddress& address, int width, const MediaUnit& keyPicture, Jpeg jpeg);

private:
    struct Entry {
        StreamAddress address;
        int width = 0;
        std::weak_ptr<const char[]> picture;  ///< that the JPEG was made of
        Jpeg jpeg;
    };

    std::list<Entry>::iterator Place(const StreamAddress& address, int width);
    void Drop(std::list<Entry>::iterator place);

    std::list<Entry> entries_;  ///< the last used one first
    size_t bytes_ = 0;
};

}  // namespace vms::host
