#include "videodevice/streams/TalkTable.h"

#include <utility>

namespace vms {

TalkTable::Talk TalkTable::Find(long long connectionId) const {
    MutexLock lock(talkMutex_);
    const auto found = talkServers_.find(connectionId);
    return found != talkServers_.end() ? found->second : nullptr;
}

TalkTable::Talk TalkTable::Insert(long long connectionId, Talk talk) {
    MutexLock lock(talkMutex_);
    return std::exchange(talkServers_[connectionId], std::move(talk));
}

TalkTable::Talk TalkTable::Take(long long connectionId) {
    MutexLock lock(talkMutex_);
    const auto found = talkServers_.find(connectionId);
    if (found == talkServers_.end())
        return nullptr;
    Talk talk = std::move(found->second);
    talkServers_.erase(found);
    return talk;
}

std::vector<TalkTable::Talk> TalkTable::TakeAll() {
    std::vector<Talk> all;
    MutexLock lock(talkMutex_);
    for (auto& [connectionId, talk] : std::exchange(talkServers_, {}))
        all.push_back(talk);
    return all;
}

}  // namespace vms
