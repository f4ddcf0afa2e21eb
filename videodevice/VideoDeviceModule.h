#pragma once

#include <json/forwards.h>

#include <memory>
#include <string>

#include "module/CommandRecord.h"
#include "module/Export.h"
#include "module/IModule.h"
#include "module/IStreamModule.h"
#include "videodevice/Clock.h"
#include "videodevice/IStreamCallback.h"

class IVideoDevice;
class IVideoDeviceFactory;

namespace vms {
struct ModuleParts;
}

/// The module every device family is built on: turns bus commands into calls on the drivers and
/// sources that the family's factory makes, and carries their media to the host's players.
///
/// Thread-safe. Handlers run on bus workers, several at once, and may block for seconds in a
/// driver; stream events come on the stream server's threads, callbacks on the sources' receive
/// threads, OnTimer on the host's timer. No lock is held while a driver, a source or the host is
/// called (FaceReConnect is the one exception), and nothing is destroyed under a lock. What
/// drivers, factories and sources throw ends as that command's failure answer.
class VMS_DEVICEACCESS_API VideoDeviceModule final : public IModule,
                                                     public IStreamModule,
                                                     public IStreamCallback {
public:
    /// @param factory not owned, outlives the module; without one (null) the module does not start,
    ///                and its commands fail
    explicit VideoDeviceModule(IVideoDeviceFactory* factory);
    /// @param clock empty: the system's; tests bring their own
    VideoDeviceModule(IVideoDeviceFactory* factory, vms::Clock clock);

    /// Waits for the module's workers, then stops and drops all sources and drivers, closed or not.
    /// The host has taken the handlers off the bus before and sends no more events.
    ~VideoDeviceModule();
    VideoDeviceModule(const VideoDeviceModule&) = delete;
    VideoDeviceModule& operator=(const VideoDeviceModule&) = delete;

    // IModule

    /// Registers the handlers, reads the configuration ("streamserver" {"header", "port",
    /// "http_port", "rtsp_port", "content"}, "playbackStreamType", "previewStreamType",
    /// "downloadStreamType") and starts the factory. The handlers stay registered when that fails.
    /// @return the factory's result
    bool Init(const char* name, const char* config) override;
    /// @return the factory's result; streams and devices go with the object
    int UnInit() override;
    /// Destroys retired sources that have closed. @return 0
    int OnTimer() override;
    void SetCallback(ILogHandler* handler) override;

    // IStreamModule

    void OnConnect(long long connectionId, const char* address, int port) override;
    void OnClose(long long connectionId, int reason, const char* text) override;
    /// @return 0 when the request was carried out, -1 otherwise, and always -1 for channels of
    ///         synchronous playback
    int OnRecv(long long connectionId, void* request, int length) override;
    int OnStream(long long connectionId, void* data, int length) override;
    void SetConnectionControl(IStreamConnectionController* controller) override;

    // IStreamCallback

    int SteramCallback(std::string key, char* data, int length) override;
    int MsgCallback(std::string key, const char* message) override;
    void UpdateKeyFrame(std::string key, char* data, int length) override;
    int QueryDataCountToSend(std::string key) override;

    // Bus handlers. The record belongs to the bus and is valid during the call; each is answered
    // once, GetDevSessionId for all devices not at all while there is none.

    void DevicesEnqueue(__tagTvCommand* command);
    void DevicesDequeue(__tagTvCommand* command);
    void SearchRecord(__tagTvCommand* command);
    void GetPreviewUrl(__tagTvCommand* command);
    void GetPlaybackUrl(__tagTvCommand* command);
    void GetRecordDownloadUrl(__tagTvCommand* command);
    /// Answered from a worker, after the handler has returned.
    void DeviceTest(__tagTvCommand* command);
    void GetDevSessionId(__tagTvCommand* command);
    void SetChannelName(__tagTvCommand* command);
    void PtzControl(__tagTvCommand* command);
    void GetCapability(__tagTvCommand* command);
    void QueryRecordDate(__tagTvCommand* command);
    void DevTiming(__tagTvCommand* command);
    void GetConnectType(__tagTvCommand* command);
    void GetDevicePermission(__tagTvCommand* command);
    void GetDeviceTime(__tagTvCommand* command);
    void Transmission(__tagTvCommand* command);
    void SyncPlaybackCreate(__tagTvCommand* command);
    void SyncPlaybackDestroy(__tagTvCommand* command);
    void SyncPlaybackChannelAdd(__tagTvCommand* command);
    void SyncPlaybackChannelDel(__tagTvCommand* command);
    void SyncPlaybackStart(__tagTvCommand* command);
    void SyncPlaybackStop(__tagTvCommand* command);
    void SyncPlaybackPause(__tagTvCommand* command);
    void SyncPlaybackResume(__tagTvCommand* command);
    void SyncPlaybackSeek(__tagTvCommand* command);
    void SyncPlaybackSetSpeed(__tagTvCommand* command);

    // Operations of PtzControl by "action", 0 to 11. The response is turned into a success when the
    // driver's result is 0 or more; what the driver throws leaves them.

    void PtzControl2(IVideoDevice* device, int channel, Json::Value body, __tagTvCommand* response);
    void PtzGetSpeed(IVideoDevice* device, int channel, Json::Value body, __tagTvCommand* response);
    void PtzSetSpeed(IVideoDevice* device, int channel, Json::Value body, __tagTvCommand* response);
    void PtzGetPreset(IVideoDevice* device, int channel, Json::Value body,
                      __tagTvCommand* response);
    void PtzAddPreset(IVideoDevice* device, int channel, Json::Value body,
                      __tagTvCommand* response);
    void PtzDelPreset(IVideoDevice* device, int channel, Json::Value body,
                      __tagTvCommand* response);
    void PtzCallPreset(IVideoDevice* device, int channel, Json::Value body,
                       __tagTvCommand* response);
    void PtzGetCruise(IVideoDevice* device, int channel, Json::Value body,
                      __tagTvCommand* response);
    void PtzAddCruise(IVideoDevice* device, int channel, Json::Value body,
                      __tagTvCommand* response);
    void PtzDelCruise(IVideoDevice* device, int channel, Json::Value body,
                      __tagTvCommand* response);
    void PtzStartCruise(IVideoDevice* device, int channel, Json::Value body,
                        __tagTvCommand* response);
    void PtzStopCruise(IVideoDevice* device, int channel, Json::Value body,
                       __tagTvCommand* response);

    // Operations that several of the above share.

    /// Stops and retires a synchronous session and its channels; unknown keys are nothing to do.
    void SyncPlaybackErase(std::string sessionKey);
    /// Gives a live stream a new face source, on a worker; returns at once.
    void FaceReConnect(std::string key);
    // Sweeps of OnTimer, one pass each.
    void DestroyPlayConn();
    void DestroySyncPlaybackConn();
    void DestroySyncPlaybackServer();

private:
    const std::unique_ptr<vms::ModuleParts> parts_;
};
