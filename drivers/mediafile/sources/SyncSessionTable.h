#pragma once

#include <map>
#include <memory>
#include <string>

#include "drivers/mediafile/sources/SyncGroup.h"
#include "platform/Mutex.h"

namespace vms::mediafile {

/// Finds a session's group by its token. Thread-safe; keeps no group alive.
class SyncSessionTable {
public:
    /// @return a fresh token
    std::string Add(const std::shared_ptr<SyncGroup>& group) VMS_EXCLUDES(mutex_);
    void Remove(const std::string& token) VMS_EXCLUDES(mutex_);
    /// @return null for an unknown token
    std::shared_ptr<SyncGroup> Find(const std::string& token) VMS_EXCLUDES(mutex_);

private:
    Mutex mutex_;
    std::map<std::string, std::weak_ptr<SyncGroup>> groups_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::mediafile
