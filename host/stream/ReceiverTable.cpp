#include "host/stream/ReceiverTable.h"

#include <algorithm>

namespace vms::host {

void ReceiverTable::Add(std::shared_ptr<Receiver> receiver) {
    const long long number = receiver->Number();
    MutexLock lock(mutex_);
    entries_.insert(Place(number), Entry{number, std::move(receiver)});
}

void ReceiverTable::Remove(long long number) {
    std::shared_ptr<Receiver> removed;  // goes after the lock
    MutexLock lock(mutex_);
    const auto place = Place(number);
    if (place == entries_.end() || place->number != number)
        return;
    removed = place->receiver;
    entries_.erase(place);
}

std::shared_ptr<Receiver> ReceiverTable::Find(long long number) const {
    MutexLock lock(mutex_);
    const auto place = Place(number);
    return place == entries_.end() || place->number != number ? nullptr : place->receiver;
}

/// Where the receiver is, or would be.
std::vector<ReceiverTable::Entry>::const_iterator ReceiverTable::Place(long long number) const {
    return std::lower_bound(
        entries_.begin(), entries_.end(), number,
        [](const Entry& entry, long long wanted) { return entry.number < wanted; });
}

}  // namespace vms::host
