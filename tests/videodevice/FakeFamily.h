#pragma once

#include <json/value.h>

#include <atomic>
#include <string>

#include "tests/videodevice/FakeSources.h"
#include "tests/videodevice/Script.h"
#include "videodevice/IVideoDevice.h"
#include "videodevice/IVideoDeviceFactory.h"

namespace vms::test {

/// Answers of a driver that are more than a number.
struct DriverAnswers {
    std::list<__tagTvRecordFile> files;
    std::list<int> dates;
    std::list<__tagTvPtzPresetParam> presets;
    __tagTvPtzCruiseParam cruise;
    bool fillsCapability = true;  ///< off: leaves records as they are
};

class FakeDriver final : public IVideoDevice {
public:
    FakeDriver(Script& script, DriverAnswers& answers, std::string id);
    ~FakeDriver() override;

    int SearchRecord(__tagTvSearchRecordParam* param, std::list<__tagTvRecordFile>* files) override;
    bool IsCanSeek() override;
    std::string GetDevSessionId() override;
    int SetChannelName(std::map<int, std::string> names) override;
    int DevTiming() override;
    int QueryRecordDate(__tagTvRecordDate* date, std::list<int>* dates) override;
    int PreparePlayback(int channel, int streamNo, int beginTime, int endTime, int* out1, int* out2,
                        std::string* out3) override;
    int GetConnectType(int* type, std::string* text) override;
    int GetDevicePermission(std::string* body) override;
    int GetDeviceTime(Json::Value* time) override;
    int Transmission(std::string uri, std::string request, std::string* body) override;
    int PtzGetCapability(__tagTvPtzCapability* capability) override;
    int GetCapability(__tagTvDeviceCapability* capability) override;
    int PtzControl(__tagTvPtzParam* param) override;
    int PtzGetSpeed(int channel) override;
    int PtzSetSpeed(int channel, int speed) override;
    int PtzGetPreset(int channel, int* auto3DEnable, int* auto3DStatus,
                     std::list<__tagTvPtzPresetParam>* presets) override;
    int PtzAddPreset(int channel, __tagTvPtzPresetParam* preset) override;
    int PtzDelPreset(int channel, __tagTvPtzPresetParam* preset) override;
    int PtzCallPreset(int channel, __tagTvPtzPresetParam* preset) override;
    int PtzGetCruise(int channel, int cruiseIdx, __tagTvPtzCruiseParam* cruise) override;
    int PtzAddCruise(int channel, __tagTvPtzCruiseParam* cruise) override;
    int PtzDelCruise(int channel, int cruiseIdx) override;
    int PtzStartCruise(int channel, int cruiseIdx) override;
    int PtzStopCruise(int channel, int cruiseIdx) override;

    static std::atomic<int> alive;

private:
    Script& script_;
    DriverAnswers& answers_;
    const std::string id_;
};

class FakeFactory final : public IVideoDeviceFactory {
public:
    bool Init(__tagTvStreamServerParam* param) override;
    int UnInit() override { return script.Call("UnInit"); }
    IVideoDevice* CreateDevice(__tagTvVideoParam* device) override;
    IPreviewStreamServer* CreatePreviewServer(IVideoDevice* device, int streamType,
                                              VideoDeviceModule* module) override;
    IFaceFrameServer* CreateFaceFrameServer(IVideoDevice* device) override;
    IPlaybackStreamServer* CreatePlaybackServer(IVideoDevice* device, int* speedOnlyI,
                                                int streamType) override;
    IPlaybackStreamServer* CreateDownloadServer(IVideoDevice* device, int streamType) override;
    ITalkStreamServer* CreateTalkServer(IVideoDevice* device) override;
    ISyncPlaybackServer* CreateSyncPlaybackServer(IVideoDevice* device) override;
    IPlaybackStreamServer* CreateSyncPlaybackChannelServer(IVideoDevice* device, int channel,
                                                           std::string token) override;
    bool DeviceTest(__tagTvVideoParam* device, __tagTvSearchDeviceParam* info) override;

    Script script;
    DriverAnswers answers;
    std::string uri;  ///< what new sources report as their key; empty: previews the given one
    std::atomic<FakePreview*> preview{nullptr};  ///< the latest, valid while it is in service
    std::atomic<FakeFace*> face{nullptr};

private:
    std::atomic<int> talks_{0};
};

}  // namespace vms::test
