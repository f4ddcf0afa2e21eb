#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "drivers/mediafile/clock/PlaybackClock.h"
#include "drivers/mediafile/sources/ChannelPlayer.h"
#include "media/recording/RecordingIndex.h"
#include "platform/Mutex.h"

namespace vms::mediafile {

/// What a synchronous session and the sources of its channels share. Thread-safe.
class SyncGroup {
public:
    static constexpr size_t kMaxChannels = 16;

    /// @param fileTypes mask of the recordings to play, 0 = all
    SyncGroup(std::shared_ptr<const RecordingIndex> index, int fileTypes)
        : index_(std::move(index)), fileTypes_(fileTypes) {}

    const std::shared_ptr<const RecordingIndex>& Index() const { return index_; }
    const std::shared_ptr<PlaybackClock>& Clock() const { return clock_; }
    int FileTypes() const { return fileTypes_; }

    /// All or none of them. Players of channels that have been taken out play again.
    /// @return false for an unknown channel, or one too many
    bool Add(const std::list<int>& channels) VMS_EXCLUDES(mutex_);
    /// Takes channels out; their players send nothing until they are added again.
    void Remove(const std::list<int>& channels) VMS_EXCLUDES(mutex_);
    /// Makes a player known under its channel, which is added if need be.
    /// @return false when there is no room for it
    bool Attach(int channel, const std::shared_ptr<ChannelPlayer>& player) VMS_EXCLUDES(mutex_);

private:
    using Player = std::shared_ptr<ChannelPlayer>;

    bool Exist(const std::list<int>& channels) const;
    bool Enter(const std::list<int>& channels) VMS_REQUIRES(mutex_);
    std::vector<Player> PlayersOf(const std::list<int>& channels) VMS_REQUIRES(mutex_);

    const std::shared_ptr<const RecordingIndex> index_;
    const std::shared_ptr<PlaybackClock> clock_ = std::make_shared<PlaybackClock>();
    const int fileTypes_;

    Mutex mutex_;
    std::set<int> channels_ VMS_GUARDED_BY(mutex_);
    std::map<int, std::weak_ptr<ChannelPlayer>> players_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::mediafile
