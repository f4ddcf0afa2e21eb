#include "drivers/httpdevice/session/SyncGroup.h"

#include <algorithm>

namespace vms::httpdevice {

void SyncGroup::Add(int channel, SyncMember* member) {
    MutexLock lock(mutex_);
    members_.emplace_back(channel, member);
}

void SyncGroup::Remove(SyncMember* member) {
    MutexLock lock(mutex_);
    std::erase_if(members_, [member](const auto& entry) { return entry.second == member; });
}

void SyncGroup::Leave(const std::list<int>& channels) {
    Tell(channels, &SyncMember::OnLeave);
}

void SyncGroup::Return(const std::list<int>& channels) {
    Tell(channels, &SyncMember::OnReturn);
}

void SyncGroup::Tell(const std::list<int>& channels, Call call) {
    MutexLock lock(mutex_);
    for (const auto& [channel, member] : members_) {
        if (std::find(channels.begin(), channels.end(), channel) != channels.end())
            (member->*call)();
    }
}

}  // namespace vms::httpdevice
