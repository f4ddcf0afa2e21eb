#include "drivers/mediafile/sources/SyncSessionTable.h"

#include "platform/Guid.h"

namespace vms::mediafile {

std::string SyncSessionTable::Add(const std::shared_ptr<SyncGroup>& group) {
    std::string token = GetGuid();
    MutexLock lock(mutex_);
    groups_[token] = group;
    return token;
}

void SyncSessionTable::Remove(const std::string& token) {
    MutexLock lock(mutex_);
    groups_.erase(token);
}

std::shared_ptr<SyncGroup> SyncSessionTable::Find(const std::string& token) {
    MutexLock lock(mutex_);
    const auto found = groups_.find(token);
    return found == groups_.end() ? nullptr : found->second.lock();
}

}  // namespace vms::mediafile
