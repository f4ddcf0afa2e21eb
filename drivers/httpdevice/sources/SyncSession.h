#pragma once

#include <json/value.h>

#include <list>
#include <memory>
#include <optional>
#include <string>

#include "drivers/httpdevice/session/FamilyRuntime.h"
#include "drivers/httpdevice/session/SyncGroup.h"
#include "drivers/httpdevice/sources/DeviceLink.h"
#include "platform/Mutex.h"
#include "videodevice/ISyncPlaybackServer.h"

namespace vms::httpdevice {

/// A synchronous playback that the device runs. This object holds the connection over which it is
/// controlled; channel sources find it by its token. Operations wait for the device's answer, for
/// the time of a request at most, but Stop and the closing do not wait. Before Create, and once the
/// device has forgotten the session, they give -1.
class SyncSession final : public ISyncPlaybackServer,
                          private DeviceLink::Listener,
                          private Closable {
public:
    explicit SyncSession(std::shared_ptr<DeviceConnection> device);
    ~SyncSession() override;
    SyncSession(const SyncSession&) = delete;
    SyncSession& operator=(const SyncSession&) = delete;

    /// The clock stands still until Start. @param speed as SpeedFactor reads it
    int Create(const char* id, int beginTime, int endTime, int seekTime, int recordType,
               int streamNo, int speed, IStreamCallback* sink) override VMS_EXCLUDES(mutex_);
    /// Channels that were out, and those whose connection was lost, play on where the session is.
    int AddChannels(std::list<int>& channels) override;
    /// Players of the channels hear of the end.
    int DelChannels(std::list<int>& channels) override;
    void Destroy() override;
    int Start() override;
    /// Stands still at the beginning of the range; Start begins anew.
    int Stop() override VMS_EXCLUDES(mutex_);
    /// @param position moved into the range
    int Seek(int position) override VMS_EXCLUDES(mutex_);
    int SetSpeed(int speed) override;
    int Pause() override;
    int Resume() override;
    std::string GetToken() override VMS_EXCLUDES(mutex_);
    void RequestStopGetPlaybackStream() override;
    bool GetCloseGetStreamStatus() override;

private:
    struct Answer {
        int code = -1;
        Json::Value data;
    };

    void OnLinkOpen() override VMS_EXCLUDES(mutex_);
    void OnLinkAnswer(const std::string& action, int code, const Json::Value& data) override
        VMS_EXCLUDES(mutex_);
    void OnLinkLost() override VMS_EXCLUDES(mutex_);

    void BeginClose() override { RequestStopGetPlaybackStream(); }
    bool IsClosed() override { return GetCloseGetStreamStatus(); }

    /// One request and its answer; others wait their turn. @return nothing without an answer
    std::optional<Answer> Ask(const char* action, Json::Value data)
        VMS_EXCLUDES(turnMutex_, mutex_);
    int Control(const char* action, Json::Value data = Json::Value(Json::objectValue))
        VMS_EXCLUDES(turnMutex_, mutex_);
    std::shared_ptr<SyncGroup> Group() VMS_EXCLUDES(mutex_);
    int ChangeChannels(const char* action, const std::list<int>& channels);

    const std::shared_ptr<DeviceConnection> device_;
    const std::shared_ptr<DeviceLink> link_;

    Mutex turnMutex_;  ///< held while a request is under way

    Mutex mutex_;
    CondVar changed_;
    std::string token_ VMS_GUARDED_BY(mutex_);
    std::shared_ptr<SyncGroup> group_ VMS_GUARDED_BY(mutex_);  ///< null without a token
    int beginTime_ VMS_GUARDED_BY(mutex_) = 0;
    int endTime_ VMS_GUARDED_BY(mutex_) = 0;
    bool linked_ VMS_GUARDED_BY(mutex_) = false;
    bool linking_ VMS_GUARDED_BY(mutex_) = false;
    std::string asked_ VMS_GUARDED_BY(mutex_);      ///< action that waits for its answer
    Json::Value askedData_ VMS_GUARDED_BY(mutex_);  ///< sent again over a new connection
    std::optional<Answer> answer_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::httpdevice
