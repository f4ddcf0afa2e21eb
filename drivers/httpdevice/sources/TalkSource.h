#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "drivers/httpdevice/session/FamilyRuntime.h"
#include "drivers/httpdevice/sources/DeviceLink.h"
#include "media/unit/MediaHeader.h"
#include "platform/Mutex.h"
#include "videodevice/ITalkStreamServer.h"

namespace vms::httpdevice {

/// Carries a player's audio to the device, over a connection of its own. What comes before the
/// device has agreed waits, a second or two of it and 1 MiB at most. Thread-safe; nothing waits for
/// the device.
class TalkSource final : public ITalkStreamServer, private DeviceLink::Listener, private Closable {
public:
    /// @param encode audio codec code that the device wants; 0 = not known
    TalkSource(std::shared_ptr<DeviceConnection> device, int encode);
    ~TalkSource() override;
    TalkSource(const TalkSource&) = delete;
    TalkSource& operator=(const TalkSource&) = delete;

    /// @param param audio codec code of what follows: 1, 2 or 0x15; 0 = the device's own
    /// @return -1 when the device is down, wants another codec or has no such channel, and for a
    /// second start
    int StartTalk(int channel, int param) override VMS_EXCLUDES(mutex_);
    void SendTalkData(const char* data, int length) override VMS_EXCLUDES(mutex_);
    void StopTalk() override VMS_EXCLUDES(mutex_);

private:
    void OnLinkOpen() override VMS_EXCLUDES(mutex_);
    void OnLinkAnswer(const std::string& action, int code, const Json::Value& data) override
        VMS_EXCLUDES(mutex_);
    void OnLinkLost() override VMS_EXCLUDES(mutex_);

    void BeginClose() override { link_->Stop(); }
    bool IsClosed() override { return link_->Closed(); }

    void Send(const std::string& audio) VMS_REQUIRES(mutex_);

    const std::shared_ptr<DeviceConnection> device_;
    const int deviceEncode_;
    const std::shared_ptr<DeviceLink> link_;

    Mutex mutex_;
    bool started_ VMS_GUARDED_BY(mutex_) = false;
    bool agreed_ VMS_GUARDED_BY(mutex_) = false;
    int channel_ VMS_GUARDED_BY(mutex_) = 0;
    int encode_ VMS_GUARDED_BY(mutex_) = 0;
    int rate_ VMS_GUARDED_BY(mutex_) = 0;
    uint32_t serial_ VMS_GUARDED_BY(mutex_) = 0;
    uint32_t lost_ VMS_GUARDED_BY(mutex_) = 0;  ///< frames that the connection did not take
    std::deque<std::string> waiting_ VMS_GUARDED_BY(mutex_);
    size_t waitingBytes_ VMS_GUARDED_BY(mutex_) = 0;
};

}  // namespace vms::httpdevice
