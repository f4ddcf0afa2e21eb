#include "host/stream/ConnectionTable.h"

#include <algorithm>

#include "host/stream/PlayerConnection.h"

namespace vms {

bool ConnectionTable::Add(std::shared_ptr<PlayerConnection> connection) {
    const long long id = connection->Id();
    MutexLock lock(mutex_);
    return !closed_ && connections_.emplace(id, std::move(connection)).second;
}

void ConnectionTable::Remove(long long id) {
    std::shared_ptr<PlayerConnection> removed;
    MutexLock lock(mutex_);
    const auto found = connections_.find(id);
    if (found == connections_.end())
        return;
    removed = std::move(found->second);
    connections_.erase(found);
    removed_.NotifyAll();
}

std::shared_ptr<PlayerConnection> ConnectionTable::Find(long long id) const {
    MutexLock lock(mutex_);
    const auto found = connections_.find(id);
    return found == connections_.end() ? nullptr : found->second;
}

std::vector<std::shared_ptr<PlayerConnection>> ConnectionTable::All() const {
    std::vector<std::shared_ptr<PlayerConnection>> all;
    {
        MutexLock lock(mutex_);
        for (const auto& [id, connection] : connections_)
            all.push_back(connection);
    }
    std::sort(all.begin(), all.end(),
              [](const auto& one, const auto& other) { return one->Id() < other->Id(); });
    return all;
}

void ConnectionTable::Close() {
    MutexLock lock(mutex_);
    closed_ = true;
}

bool ConnectionTable::WaitUntilEmpty(std::chrono::steady_clock::time_point deadline) {
    MutexLock lock(mutex_);
    while (!connections_.empty()) {
        if (!removed_.WaitUntil(mutex_, deadline))
            break;
    }
    return connections_.empty();
}

}  // namespace vms
