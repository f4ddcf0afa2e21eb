#pragma once

#include <memory>
#include <string>

#include "drivers/common/SessionChannel.h"
#include "drivers/httpdevice/session/FamilyRuntime.h"
#include "drivers/httpdevice/session/SyncGroup.h"
#include "drivers/httpdevice/sources/DeviceLink.h"
#include "drivers/httpdevice/sources/UnitBuffer.h"
#include "platform/Mutex.h"

namespace vms::httpdevice {

/// One channel of a synchronous session, over a connection of its own. The session's clock says
/// what is sent when, so the operations that would move a single channel give -1.
class SyncChannelSource final : public SessionChannel,
                                private DeviceLink::Listener,
                                private SyncMember,
                                private Closable {
public:
    /// @param group of the session that has the token
    SyncChannelSource(std::shared_ptr<DeviceConnection> device, int channel, std::string token,
                      std::shared_ptr<SyncGroup> group);
    ~SyncChannelSource() override;
    SyncChannelSource(const SyncChannelSource&) = delete;
    SyncChannelSource& operator=(const SyncChannelSource&) = delete;

    /// Joins the session where it is, adding the channel to it when need be. Units arrive under
    /// "<key>--<channel>"; the range is the session's. When the session gives the channel up, the
    /// player hears of the end, and nothing is sent until the session takes the channel in again.
    void StartPlayback(std::string key, int channel, int beginTime, int endTime, int streamNo,
                       int recordType, int seekTime, IStreamCallback* sink,
                       bool firstStart) override VMS_EXCLUDES(mutex_);
    void RequestStopGetPlaybackStream() override;
    bool GetCloseGetStreamStatus() override;

private:
    void OnLinkOpen() override VMS_EXCLUDES(mutex_);
    void OnLinkAnswer(const std::string& action, int code, const Json::Value& data) override;
    void OnLinkFrame(const char* data, int length) override VMS_EXCLUDES(mutex_);
    void OnLinkEnd(const std::string& reason) override;
    void OnLinkLost() override;

    void OnLeave() override VMS_EXCLUDES(mutex_);
    void OnReturn() override VMS_EXCLUDES(mutex_);

    void BeginClose() override { RequestStopGetPlaybackStream(); }
    bool IsClosed() override { return GetCloseGetStreamStatus(); }

    void Join() VMS_REQUIRES(mutex_);
    void Finish(const char* message) VMS_EXCLUDES(mutex_);
    void Tell(const char* message) VMS_EXCLUDES(mutex_);

    const std::shared_ptr<DeviceConnection> device_;
    const int channel_;
    const std::string token_;
    const std::shared_ptr<SyncGroup> group_;
    const std::shared_ptr<DeviceLink> link_;

    Mutex mutex_;
    std::string key_ VMS_GUARDED_BY(mutex_);
    IStreamCallback* sink_ VMS_GUARDED_BY(mutex_) = nullptr;
    bool in_ VMS_GUARDED_BY(mutex_) = true;     ///< as far as the session's user wants
    bool over_ VMS_GUARDED_BY(mutex_) = false;  ///< the connection carries nothing any more

    UnitBuffer units_;  ///< network thread only
};

}  // namespace vms::httpdevice
