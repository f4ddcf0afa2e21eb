#include "drivers/mediafile/SyncGroup.h"

#include <algorithm>
#include <vector>

namespace vms::mediafile {

bool SyncGroup::Add(const std::list<int>& channels) {
    const int known = static_cast<int>(index_->Channels().size());
    const bool exist = std::all_of(channels.begin(), channels.end(), [known](int channel) {
        return channel >= 0 && channel < known;
    });
    if (!exist)
        return false;
    MutexLock lock(mutex_);
    std::set<int> wanted = channels_;
    wanted.insert(channels.begin(), channels.end());
    if (wanted.size() > kMaxChannels)
        return false;
    channels_.swap(wanted);
    return true;
}

void SyncGroup::Remove(const std::list<int>& channels) {
    std::vector<std::shared_ptr<ChannelPlayer>> ended;
    MutexLock lock(mutex_);
    for (const int channel : channels) {
        channels_.erase(channel);
        const auto player = players_.find(channel);
        if (player == players_.end())
            continue;
        ended.push_back(player->second.lock());
        players_.erase(player);
    }
    lock.Unlock();
    for (const auto& player : ended) {
        if (player != nullptr)
            player->Cancel();
    }
}

bool SyncGroup::Attach(int channel, const std::shared_ptr<ChannelPlayer>& player) {
    if (!Add({channel}))
        return false;
    MutexLock lock(mutex_);
    players_[channel] = player;
    return true;
}

}  // namespace vms::mediafile
