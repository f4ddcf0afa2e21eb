#pragma once

#include <map>
#include <memory>
#include <vector>

#include "platform/Mutex.h"
#include "videodevice/ITalkStreamServer.h"

namespace vms {

/// At most one running talk per player connection. Thread-safe; nothing is called or destroyed
/// under the lock.
class TalkTable {
public:
    using Talk = std::shared_ptr<ITalkStreamServer>;

    /// Null when the connection does not talk.
    Talk Find(long long connectionId) const VMS_EXCLUDES(talkMutex_);

    /// @return the talk that was there, to be stopped, or null
    [[nodiscard]] Talk Insert(long long connectionId, Talk talk) VMS_EXCLUDES(talkMutex_);

    /// @return the talk, taken out, to be stopped, or null
    [[nodiscard]] Talk Take(long long connectionId) VMS_EXCLUDES(talkMutex_);

    [[nodiscard]] std::vector<Talk> TakeAll() VMS_EXCLUDES(talkMutex_);

private:
    mutable Mutex talkMutex_;
    std::map<long long, Talk> talkServers_ VMS_GUARDED_BY(talkMutex_);
};

}  // namespace vms
