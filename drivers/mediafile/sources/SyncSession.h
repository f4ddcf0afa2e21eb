#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "drivers/mediafile/sources/SyncGroup.h"
#include "drivers/mediafile/sources/SyncSessionTable.h"
#include "platform/Mutex.h"
#include "videodevice/ISyncPlaybackServer.h"

namespace vms::mediafile {

/// Up to sixteen channels of one device on one clock. Has no thread: the channel sources bring
/// theirs and find the session by its token. Created paused at its first place; operations before
/// Create give -1.
class SyncSession final : public ISyncPlaybackServer {
public:
    SyncSession(std::shared_ptr<const RecordingIndex> index,
                std::shared_ptr<SyncSessionTable> table);
    ~SyncSession() override;

    /// @param seekTime first place when it lies in the range. @param speed as PlaybackSpeed writes
    /// it
    /// @return -1 for an empty id, an empty range, a speed out of range, or a second time
    int Create(const char* id, int beginTime, int endTime, int seekTime, int recordType,
               int streamNo, int speed, IStreamCallback* sink) override VMS_EXCLUDES(mutex_);
    /// @return -1 when a channel does not exist or there would be too many; none is added then
    int AddChannels(std::list<int>& channels) override;
    int DelChannels(std::list<int>& channels) override;
    void Destroy() override VMS_EXCLUDES(mutex_);
    /// Runs on; after Stop, from the beginning of the range.
    int Start() override VMS_EXCLUDES(mutex_);
    int Stop() override;
    int Seek(int position) override;
    int SetSpeed(int speed) override;
    int Pause() override;
    int Resume() override;
    std::string GetToken() override VMS_EXCLUDES(mutex_);
    void RequestStopGetPlaybackStream() override;
    bool GetCloseGetStreamStatus() override VMS_EXCLUDES(mutex_);

private:
    std::shared_ptr<SyncGroup> Group() VMS_EXCLUDES(mutex_);

    const std::shared_ptr<const RecordingIndex> index_;
    const std::shared_ptr<SyncSessionTable> table_;

    Mutex mutex_;
    std::shared_ptr<SyncGroup> group_ VMS_GUARDED_BY(mutex_);  ///< null before Create
    std::string token_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::mediafile
