#pragma once

#include <string>

#include "module/DeviceRecords.h"
#include "module/StreamServerParam.h"

class IFaceFrameServer;
class IPlaybackStreamServer;
class IPreviewStreamServer;
class ISyncPlaybackServer;
class ITalkStreamServer;
class IVideoDevice;
class VideoDeviceModule;

/// What a device family supplies: makes drivers and stream sources. Not owned by the module and
/// outlives it. Thread-safe: called by bus, stream-server and worker threads. Every object it makes
/// belongs to the caller; null is a failure. Sources copy what they need of a device and never keep
/// the pointer. Slot order is part of the contract.
class IVideoDeviceFactory {
public:
    virtual bool Init(__tagTvStreamServerParam* param) = 0;
    virtual int UnInit() = 0;
    /// Called with the device table locked: must return at once, connecting later. The table has
    /// let go of the device's former driver; a stream or a command may still hold it.
    virtual IVideoDevice* CreateDevice(__tagTvVideoParam* device) = 0;
    /// @param streamType the module's "previewStreamType" setting, -1 when not set
    virtual IPreviewStreamServer* CreatePreviewServer(IVideoDevice* device, int streamType,
                                                      VideoDeviceModule* module) = 0;
    /// @param device may be null: the device has been removed meanwhile
    virtual IFaceFrameServer* CreateFaceFrameServer(IVideoDevice* device) = 0;
    /// @param speedOnlyI set to the number that tells players from which speed on only key frames
    ///                   are sent; left alone when unknown
    virtual IPlaybackStreamServer* CreatePlaybackServer(IVideoDevice* device, int* speedOnlyI,
                                                        int streamType) = 0;
    virtual IPlaybackStreamServer* CreateDownloadServer(IVideoDevice* device, int streamType) = 0;
    virtual ITalkStreamServer* CreateTalkServer(IVideoDevice* device) = 0;
    virtual ISyncPlaybackServer* CreateSyncPlaybackServer(IVideoDevice* device) = 0;
    /// @param token as the session's GetToken gave it
    virtual IPlaybackStreamServer* CreateSyncPlaybackChannelServer(IVideoDevice* device,
                                                                   int channel,
                                                                   std::string token) = 0;
    /// Tries a device that need not be configured; may block for seconds.
    /// @return false when it cannot be reached or refuses the login
    virtual bool DeviceTest(__tagTvVideoParam* device, __tagTvSearchDeviceParam* info) = 0;

protected:
    ~IVideoDeviceFactory() = default;
};
