#pragma once

#include <list>
#include <utility>
#include <vector>

#include "platform/Mutex.h"

namespace vms::httpdevice {

/// A channel of a synchronous session that somebody watches. Called with the group's lock held:
/// must not block, nor call the group.
class SyncMember {
public:
    /// The session has given the channel up.
    virtual void OnLeave() = 0;
    /// The session has taken the channel in, for the first time or again.
    virtual void OnReturn() = 0;

protected:
    ~SyncMember() = default;
};

/// What a synchronous session of a device and the sources of its channels share. Thread-safe.
class SyncGroup {
public:
    /// @param beginTime of the session's range, s since the epoch
    explicit SyncGroup(int beginTime) : beginTime_(beginTime) {}

    int BeginTime() const { return beginTime_; }

    /// @param member stays alive until Remove has returned
    void Add(int channel, SyncMember* member) VMS_EXCLUDES(mutex_);
    void Remove(SyncMember* member) VMS_EXCLUDES(mutex_);

    /// Tells the members of these channels.
    void Leave(const std::list<int>& channels) VMS_EXCLUDES(mutex_);
    void Return(const std::list<int>& channels) VMS_EXCLUDES(mutex_);

private:
    using Call = void (SyncMember::*)();

    void Tell(const std::list<int>& channels, Call call) VMS_EXCLUDES(mutex_);

    const int beginTime_;

    Mutex mutex_;
    std::vector<std::pair<int, SyncMember*>> members_ VMS_GUARDED_BY(mutex_);  ///< with channel
};

}  // namespace vms::httpdevice
