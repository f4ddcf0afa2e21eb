#include "host/players/PlayerTable.h"

#include <utility>

namespace vms::host {
namespace {

void Sum(const SendCounts& counts, SendCounts& sum) {
    sum.sentUnits += counts.sentUnits;
    sum.sentBytes += counts.sentBytes;
    sum.droppedUnits += counts.droppedUnits;
}

}  // namespace

bool PlayerTable::Add(std::shared_ptr<Player> player) {
    MutexLock lock(mutex_);
    if (closed_)
        return false;
    const long long number = player->Number();
    players_.emplace(number, std::move(player));
    return true;
}

void PlayerTable::Remove(long long number) {
    std::shared_ptr<Player> removed;  // goes after the lock
    MutexLock lock(mutex_);
    const auto place = players_.find(number);
    if (place == players_.end())
        return;
    removed = std::move(place->second);
    Sum(removed->Counts(), gone_);
    players_.erase(place);
    removed_.NotifyAll();
}

std::vector<std::shared_ptr<Player>> PlayerTable::All() const {
    std::vector<std::shared_ptr<Player>> all;
    MutexLock lock(mutex_);
    all.reserve(players_.size());
    for (const auto& [number, player] : players_)
        all.push_back(player);
    return all;
}

SendCounts PlayerTable::Totals(size_t& connected) const {
    MutexLock lock(mutex_);
    connected = players_.size();
    SendCounts sum = gone_;
    for (const auto& [number, player] : players_)
        Sum(player->Counts(), sum);
    return sum;
}

void PlayerTable::Close() {
    MutexLock lock(mutex_);
    closed_ = true;
}

bool PlayerTable::WaitUntilEmpty(std::chrono::steady_clock::time_point deadline) {
    MutexLock lock(mutex_);
    while (!players_.empty()) {
        if (!removed_.WaitUntil(mutex_, deadline))
            break;
    }
    return players_.empty();
}

}  // namespace vms::host
