#include "host/players/http/SnapshotCache.h"

#include <algorithm>
#include <utility>

namespace vms::host {

std::list<SnapshotCache::Entry>::iterator SnapshotCache::Place(const StreamAddress& address,
                                                               int width) {
    return std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.width == width && entry.address == address;
    });
}

void SnapshotCache::Drop(std::list<Entry>::iterator place) {
    bytes_ -= place->jpeg->size();
    entries_.erase(place);
}

SnapshotCache::Jpeg SnapshotCache::Find(const StreamAddress& address, int width,
                                        const MediaUnit& keyPicture) {
    const auto place = Place(address, width);
    if (place == entries_.end() || place->picture.lock() != keyPicture.Owner())
        return nullptr;
    entries_.splice(entries_.begin(), entries_, place);
    return place->jpeg;
}

void SnapshotCache::Keep(const StreamAddress& address, int width, const MediaUnit& keyPicture,
                         Jpeg jpeg) {
    if (const auto place = Place(address, width); place != entries_.end())
        Drop(place);
    bytes_ += jpeg->size();
    entries_.push_front({address, width, keyPicture.Owner(), std::move(jpeg)});
    while (entries_.size() > kMost || (bytes_ > kMostBytes && entries_.size() > 1))
        Drop(std::prev(entries_.end()));
}

}  // namespace vms::host
