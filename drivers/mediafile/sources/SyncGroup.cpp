#include "drivers/mediafile/sources/SyncGroup.h"

#include <algorithm>
#include <utility>

namespace vms::mediafile {

bool SyncGroup::Add(const std::list<int>& channels) {
    if (!Exist(channels))
        return false;
    std::vector<Player> players;
    {
        MutexLock lock(mutex_);
        if (!Enter(channels))
            return false;
        players = PlayersOf(channels);
    }
    for (const Player& player : players)
        player->Return();
    return true;
}

void SyncGroup::Remove(const std::list<int>& channels) {
    std::vector<Player> players;
    {
        MutexLock lock(mutex_);
        for (const int channel : channels)
            channels_.erase(channel);
        players = PlayersOf(channels);
    }
    for (const Player& player : players)
        player->Leave();
}

bool SyncGroup::Attach(int channel, const Player& player) {
    if (!Exist({channel}))
        return false;
    MutexLock lock(mutex_);
    if (!Enter({channel}))
        return false;
    players_[channel] = player;
    return true;
}

bool SyncGroup::Exist(const std::list<int>& channels) const {
    const int known = static_cast<int>(index_->Channels().size());
    return std::all_of(channels.begin(), channels.end(),
                       [known](int channel) { return channel >= 0 && channel < known; });
}

/// All or none of them.
bool SyncGroup::Enter(const std::list<int>& channels) {
    std::set<int> wanted = channels_;
    wanted.insert(channels.begin(), channels.end());
    if (wanted.size() > kMaxChannels)
        return false;
    channels_.swap(wanted);
    return true;
}

std::vector<SyncGroup::Player> SyncGroup::PlayersOf(const std::list<int>& channels) {
    std::vector<Player> players;
    for (const int channel : channels) {
        const auto found = players_.find(channel);
        Player player = found == players_.end() ? nullptr : found->second.lock();
        if (player != nullptr)
            players.push_back(std::move(player));
    }
    return players;
}

}  // namespace vms::mediafile
