#pragma once

#include <memory>
#include <string>

#include "drivers/httpdevice/session/FamilyRuntime.h"
#include "platform/Mutex.h"
#include "videodevice/IVideoDeviceFactory.h"

namespace vms::httpdevice {

/// Makes drivers and sources for cameras and recorders with the HTTP/JSON API. Refuses (null)
/// devices of other families, and sources of a device that is down.
class HttpDeviceFactory final : public IVideoDeviceFactory {
public:
    HttpDeviceFactory() = default;
    /// Ends everything; drivers and sources may outlive the factory, doing nothing any more.
    ~HttpDeviceFactory();
    HttpDeviceFactory(const HttpDeviceFactory&) = delete;
    HttpDeviceFactory& operator=(const HttpDeviceFactory&) = delete;

    /// Takes the settings from "content", as ParseSettings reads them.
    /// @return false when no threads are to be had
    bool Init(__tagTvStreamServerParam* param) override VMS_EXCLUDES(mutex_);
    /// Closes all sources, logs out of all devices, ends all threads.
    /// @return -1 when a source has not closed after four seconds
    int UnInit() override VMS_EXCLUDES(mutex_);

    IVideoDevice* CreateDevice(__tagTvVideoParam* device) override;
    IPreviewStreamServer* CreatePreviewServer(IVideoDevice* device, int streamType,
                                              VideoDeviceModule* module) override;
    IFaceFrameServer* CreateFaceFrameServer(IVideoDevice* device) override;
    IPlaybackStreamServer* CreatePlaybackServer(IVideoDevice* device, int* speedOnlyI,
                                                int streamType) override;
    IPlaybackStreamServer* CreateDownloadServer(IVideoDevice* device, int streamType) override;
    ITalkStreamServer* CreateTalkServer(IVideoDevice* device) override;
    ISyncPlaybackServer* CreateSyncPlaybackServer(IVideoDevice* device) override;
    /// @return null for a token that no session has, and for a channel that the device has not
    IPlaybackStreamServer* CreateSyncPlaybackChannelServer(IVideoDevice* device, int channel,
                                                           std::string token) override;
    /// Logs in, asks what the device is, logs out.
    bool DeviceTest(__tagTvVideoParam* device, __tagTvSearchDeviceParam* info) override;

private:
    std::shared_ptr<FamilyRuntime> Runtime() VMS_EXCLUDES(mutex_);

    Mutex mutex_;
    std::shared_ptr<FamilyRuntime> runtime_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::httpdevice
