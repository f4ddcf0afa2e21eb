#include "sim/httpdevice/server/ConnectionSet.h"

#include <utility>
#include <vector>

namespace vms::sim::httpdevice {

void ConnectionSet::Add(const std::shared_ptr<Droppable>& connection) {
    MutexLock lock(mutex_);
    connections_[connection.get()] = connection;
}

void ConnectionSet::Remove(const Droppable* connection) {
    MutexLock lock(mutex_);
    connections_.erase(connection);
}

void ConnectionSet::DropAll() {
    std::vector<std::shared_ptr<Droppable>> live;
    {
        MutexLock lock(mutex_);
        for (const auto& [key, connection] : connections_) {
            if (auto one = connection.lock())
                live.push_back(std::move(one));
        }
    }
    for (const auto& connection : live)
        connection->Drop();
}

}  // namespace vms::sim::httpdevice
