#include "host/stream/ConnectionTable.h"

#include <algorithm>

#include "host/stream/PlayerConnection.h"

namespace vms {
namespace {

void Sum(const SendCounts& counts, SendCounts& sum) {
    sum.sentUnits += counts.sentUnits;
    sum.sentBytes += counts.sentBytes;
    sum.droppedUnits += counts.droppedUnits;
}

}  // namespace

bool ConnectionTable::Add(std::shared_ptr<PlayerConnection> connection) {
    const long long id = connection->Id();
    MutexLock lock(mutex_);
    if (closed_)
        return false;
    entries_.insert(Place(id), Entry{id, std::move(connection)});
    return true;
}

void ConnectionTable::Remove(long long id) {
    std::shared_ptr<PlayerConnection> removed;
    MutexLock lock(mutex_);
    const auto place = Place(id);
    if (place == entries_.end() || place->id != id)
        return;
    removed = place->connection;
    Sum(removed->Counts(), gone_);
    entries_.erase(place);
    removed_.NotifyAll();
}

std::shared_ptr<PlayerConnection> ConnectionTable::Find(long long id) const {
    MutexLock lock(mutex_);
    const auto place = Place(id);
    return place == entries_.end() || place->id != id ? nullptr : place->connection;
}

void ConnectionTable::Find(const long long* ids, size_t count,
                           std::vector<std::shared_ptr<PlayerConnection>>& found) const {
    found.resize(count);
    MutexLock lock(mutex_);
    auto place = entries_.begin();
    for (size_t i = 0; i < count; ++i) {
        // Mostly asked for in the table's own order.
        if (place == entries_.end() || place->id != ids[i])
            place = Place(ids[i]);
        const bool known = place != entries_.end() && place->id == ids[i];
        found[i] = known ? (place++)->connection : nullptr;
    }
}

/// Where the player is, or would be.
std::vector<ConnectionTable::Entry>::const_iterator ConnectionTable::Place(long long id) const {
    return std::lower_bound(entries_.begin(), entries_.end(), id,
                            [](const Entry& entry, long long wanted) { return entry.id < wanted; });
}

std::vector<std::shared_ptr<PlayerConnection>> ConnectionTable::All() const {
    std::vector<std::shared_ptr<PlayerConnection>> all;
    MutexLock lock(mutex_);
    all.reserve(entries_.size());
    for (const Entry& entry : entries_)
        all.push_back(entry.connection);
    return all;
}

SendCounts ConnectionTable::Totals(size_t& connected) const {
    MutexLock lock(mutex_);
    connected = entries_.size();
    SendCounts sum = gone_;
    for (const Entry& entry : entries_)
        Sum(entry.connection->Counts(), sum);
    return sum;
}

void ConnectionTable::Close() {
    MutexLock lock(mutex_);
    closed_ = true;
}

bool ConnectionTable::WaitUntilEmpty(std::chrono::steady_clock::time_point deadline) {
    MutexLock lock(mutex_);
    while (!entries_.empty()) {
        if (!removed_.WaitUntil(mutex_, deadline))
            break;
    }
    return entries_.empty();
}

}  // namespace vms
