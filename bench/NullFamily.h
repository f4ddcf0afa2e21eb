#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "platform/IStreamConnectionController.h"
#include "videodevice/IPreviewStreamServer.h"
#include "videodevice/IVideoDevice.h"
#include "videodevice/IVideoDeviceFactory.h"

/// A device family and a stream server that do nothing, so that only the module costs time.
namespace bench {

/// Its calls are compiled apart, so that no caller gets them inlined.
class NullController final : public IStreamConnectionController {
public:
    int SendData(long long connectionId, const char* data, int length, bool isPlayback) override;
    int SendCommand(long long connectionId, __tagTvCommand* command) override;
    void CloseConnection(long long connectionId) override;
    void GetServerAddress(std::string& host, int& port) override;
    int QueryDataCount(long long connectionId) override;
};

class NullDevice final : public IVideoDevice {
public:
    int SearchRecord(__tagTvSearchRecordParam*, std::list<__tagTvRecordFile>*) override {
        return 0;
    }
    bool IsCanSeek() override { return false; }
    std::string GetDevSessionId() override { return ""; }
    int SetChannelName(std::map<int, std::string>) override { return 0; }
    int DevTiming() override { return 0; }
    int QueryRecordDate(__tagTvRecordDate*, std::list<int>*) override { return 0; }
    int PreparePlayback(int, int, int, int, int*, int*, std::string*) override { return 0; }
    int GetConnectType(int* type, std::string*) override { return *type = 0; }
    int GetDevicePermission(std::string*) override { return 0; }
    int GetDeviceTime(Json::Value*) override { return 0; }
    int Transmission(std::string, std::string, std::string*) override { return 0; }
    int PtzGetCapability(__tagTvPtzCapability*) override { return 0; }
    int GetCapability(__tagTvDeviceCapability*) override { return 0; }
    int PtzControl(__tagTvPtzParam*) override { return 0; }
    int PtzGetSpeed(int) override { return 0; }
    int PtzSetSpeed(int, int) override { return 0; }
    int PtzGetPreset(int, int*, int*, std::list<__tagTvPtzPresetParam>*) override { return 0; }
    int PtzAddPreset(int, __tagTvPtzPresetParam*) override { return 0; }
    int PtzDelPreset(int, __tagTvPtzPresetParam*) override { return 0; }
    int PtzCallPreset(int, __tagTvPtzPresetParam*) override { return 0; }
    int PtzGetCruise(int, int, __tagTvPtzCruiseParam*) override { return 0; }
    int PtzAddCruise(int, __tagTvPtzCruiseParam*) override { return 0; }
    int PtzDelCruise(int, int) override { return 0; }
    int PtzStartCruise(int, int) override { return 0; }
    int PtzStopCruise(int, int) override { return 0; }
};

class NullPreview final : public IPreviewStreamServer {
public:
    explicit NullPreview(std::vector<std::string>& keys) : keys_(keys) {}

    int StartPreview(std::string key, int, int, IStreamCallback*) override {
        keys_.push_back(key_ = key);
        return 0;
    }
    void StopPreview(std::string) override {}
    void RequestStopGetPreviewStream() override {}
    bool GetCloseGetStreamStatus() override { return true; }
    std::string GetStreamUri() override { return key_; }
    int GetTalkEncodeType() override { return 1; }

private:
    std::vector<std::string>& keys_;
    std::string key_;
};

/// Makes live sources only and notes the keys they are started under.
class NullFactory final : public IVideoDeviceFactory {
public:
    bool Init(__tagTvStreamServerParam*) override { return true; }
    int UnInit() override { return 0; }
    IVideoDevice* CreateDevice(__tagTvVideoParam*) override { return new NullDevice; }
    IPreviewStreamServer* CreatePreviewServer(IVideoDevice*, int, VideoDeviceModule*) override {
        return new NullPreview(keys);
    }
    IFaceFrameServer* CreateFaceFrameServer(IVideoDevice*) override { return nullptr; }
    IPlaybackStreamServer* CreatePlaybackServer(IVideoDevice*, int*, int) override {
        return nullptr;
    }
    IPlaybackStreamServer* CreateDownloadServer(IVideoDevice*, int) override { return nullptr; }
    ITalkStreamServer* CreateTalkServer(IVideoDevice*) override { return nullptr; }
    ISyncPlaybackServer* CreateSyncPlaybackServer(IVideoDevice*) override { return nullptr; }
    IPlaybackStreamServer* CreateSyncPlaybackChannelServer(IVideoDevice*, int,
                                                           std::string) override {
        return nullptr;
    }
    bool DeviceTest(__tagTvVideoParam*, __tagTvSearchDeviceParam*) override { return false; }

    std::vector<std::string> keys;
};

}  // namespace bench
