#include "tests/videodevice/FakeFamily.h"

#include <cstdarg>
#include <cstdio>
#include <memory>

namespace vms::test {
namespace {

__attribute__((format(printf, 1, 2))) std::string Text(const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string Text(const __tagTvPtzPresetParam& preset) {
    return Text("[%d '%s' speed=%d enable=%d readOnly=%d dwell=%d]", preset.presetIdx,
                preset.presetName.c_str(), preset.speed, preset.enablePreset, preset.readOnly,
                preset.presetDweelTime);
}

std::string Known(const IVideoDevice* device) {
    return device != nullptr ? "device" : "nobody";
}

}  // namespace

std::atomic<int> FakeDriver::alive{0};

FakeDriver::FakeDriver(Script& script, DriverAnswers& answers, std::string id)
    : script_(script), answers_(answers), id_(std::move(id)) {
    ++alive;
}

FakeDriver::~FakeDriver() {
    --alive;
    script_.Call("~Device", id_);
}

int FakeDriver::SearchRecord(__tagTvSearchRecordParam* param, std::list<__tagTvRecordFile>* files) {
    *files = answers_.files;
    return script_.Call("SearchRecord",
                        Text("%d %d %d", param->channel, param->fileType, param->endTime));
}

bool FakeDriver::IsCanSeek() {
    return script_.Call("IsCanSeek") != 0;
}

std::string FakeDriver::GetDevSessionId() {
    script_.Call("GetDevSessionId");
    return "session of " + id_;
}

int FakeDriver::SetChannelName(std::map<int, std::string> names) {
    std::string text;
    for (const auto& [channel, name] : names)
        text += Text("%d=%s;", channel, name.c_str());
    return script_.Call("SetChannelName", text);
}

int FakeDriver::DevTiming() {
    return script_.Call("DevTiming");
}

int FakeDriver::QueryRecordDate(__tagTvRecordDate* date, std::list<int>* dates) {
    *dates = answers_.dates;
    return script_.Call("QueryRecordDate", Text("%d %d %d %d %d", date->channel, date->streamNo,
                                                date->fileType, date->startTime, date->endTime));
}

int FakeDriver::PreparePlayback(int channel, int streamNo, int beginTime, int endTime, int* out1,
                                int* out2, std::string* out3) {
    *out1 = *out2 = 1;
    *out3 = "unused";
    return script_.Call("PreparePlayback",
                        Text("%d %d %d %d", channel, streamNo, beginTime, endTime));
}

int FakeDriver::GetConnectType(int* type, std::string* text) {
    *type = 7;
    *text = "unused";
    return script_.Call("GetConnectType");
}

int FakeDriver::GetDevicePermission(std::string* body) {
    *body = "permission";
    return script_.Call("GetDevicePermission");
}

int FakeDriver::GetDeviceTime(Json::Value* time) {
    if (answers_.fillsCapability)
        (*time)["now"] = 1;
    return script_.Call("GetDeviceTime");
}

int FakeDriver::Transmission(std::string uri, std::string request, std::string* body) {
    *body = "passed through";
    return script_.Call("Transmission", uri + " " + request);
}

int FakeDriver::PtzGetCapability(__tagTvPtzCapability* capability) {
    if (answers_.fillsCapability)
        *capability = {0, 1, 1, 1, 1};
    return script_.Call("PtzGetCapability");
}

int FakeDriver::GetCapability(__tagTvDeviceCapability* capability) {
    if (answers_.fillsCapability)
        *capability = {1, 2, 3, 4, 1};
    return script_.Call("GetCapability");
}

int FakeDriver::PtzControl(__tagTvPtzParam* param) {
    return script_.Call(
        "PtzControl", Text("%d opt=%d turn=%d add=%d press=%d speed=%d", param->channel, param->opt,
                           param->turn, param->is_add, param->is_press, param->speed));
}

int FakeDriver::PtzGetSpeed(int channel) {
    return script_.Call("PtzGetSpeed", Text("%d", channel));
}

int FakeDriver::PtzSetSpeed(int channel, int speed) {
    return script_.Call("PtzSetSpeed", Text("%d %d", channel, speed));
}

int FakeDriver::PtzGetPreset(int channel, int* auto3DEnable, int* auto3DStatus,
                             std::list<__tagTvPtzPresetParam>* presets) {
    *auto3DEnable = 1;
    *auto3DStatus = 2;
    *presets = answers_.presets;
    return script_.Call("PtzGetPreset", Text("%d", channel));
}

int FakeDriver::PtzAddPreset(int channel, __tagTvPtzPresetParam* preset) {
    return script_.Call("PtzAddPreset", Text("%d ", channel) + Text(*preset));
}

int FakeDriver::PtzDelPreset(int channel, __tagTvPtzPresetParam* preset) {
    return script_.Call("PtzDelPreset", Text("%d ", channel) + Text(*preset));
}

int FakeDriver::PtzCallPreset(int channel, __tagTvPtzPresetParam* preset) {
    return script_.Call("PtzCallPreset", Text("%d ", channel) + Text(*preset));
}

int FakeDriver::PtzGetCruise(int channel, int cruiseIdx, __tagTvPtzCruiseParam* cruise) {
    *cruise = answers_.cruise;
    return script_.Call("PtzGetCruise", Text("%d %d", channel, cruiseIdx));
}

int FakeDriver::PtzAddCruise(int channel, __tagTvPtzCruiseParam* cruise) {
    std::string text = Text("%d %d enable=%d", channel, cruise->cruiseIdx, cruise->enableCruise);
    for (const auto& stop : cruise->presets)
        text += " " + Text(stop);
    return script_.Call("PtzAddCruise", text);
}

int FakeDriver::PtzDelCruise(int channel, int cruiseIdx) {
    return script_.Call("PtzDelCruise", Text("%d %d", channel, cruiseIdx));
}

int FakeDriver::PtzStartCruise(int channel, int cruiseIdx) {
    return script_.Call("PtzStartCruise", Text("%d %d", channel, cruiseIdx));
}

int FakeDriver::PtzStopCruise(int channel, int cruiseIdx) {
    return script_.Call("PtzStopCruise", Text("%d %d", channel, cruiseIdx));
}

bool FakeFactory::Init(__tagTvStreamServerParam* param) {
    return script.Call("Init",
                       Text("'%s' '%s' %d %d '%s'", param->header.c_str(), param->port.c_str(),
                            param->http_port, param->rtsp_port, param->content.c_str())) == 0;
}

IVideoDevice* FakeFactory::CreateDevice(__tagTvVideoParam* device) {
    script.Call("CreateDevice", device->id);
    return script.MakesNull("CreateDevice") ? nullptr : new FakeDriver(script, answers, device->id);
}

IPreviewStreamServer* FakeFactory::CreatePreviewServer(IVideoDevice* /*device*/, int streamType,
                                                       VideoDeviceModule* /*module*/) {
    script.Call("CreatePreviewServer", Text("%d", streamType));
    if (script.MakesNull("CreatePreviewServer"))
        return nullptr;
    return preview = new FakePreview(script, uri);
}

IFaceFrameServer* FakeFactory::CreateFaceFrameServer(IVideoDevice* device) {
    script.Call("CreateFaceFrameServer", Known(device));
    if (script.MakesNull("CreateFaceFrameServer"))
        return nullptr;
    return face = new FakeFace(script);
}

IPlaybackStreamServer* FakeFactory::CreatePlaybackServer(IVideoDevice* /*device*/, int* speedOnlyI,
                                                         int streamType) {
    const int speed = script.Call("CreatePlaybackServer", Text("%d", streamType));
    if (speed > 0)
        *speedOnlyI = speed;
    return script.MakesNull("CreatePlaybackServer") ? nullptr : new FakePlayback(script, uri);
}

IPlaybackStreamServer* FakeFactory::CreateDownloadServer(IVideoDevice* /*device*/, int streamType) {
    script.Call("CreateDownloadServer", Text("%d", streamType));
    return script.MakesNull("CreateDownloadServer") ? nullptr : new FakePlayback(script, uri);
}

ITalkStreamServer* FakeFactory::CreateTalkServer(IVideoDevice* /*device*/) {
    script.Call("CreateTalkServer");
    return script.MakesNull("CreateTalkServer") ? nullptr : new FakeTalk(script, ++talks_);
}

ISyncPlaybackServer* FakeFactory::CreateSyncPlaybackServer(IVideoDevice* /*device*/) {
    script.Call("CreateSyncPlaybackServer");
    return script.MakesNull("CreateSyncPlaybackServer") ? nullptr : new FakeSession(script);
}

IPlaybackStreamServer* FakeFactory::CreateSyncPlaybackChannelServer(IVideoDevice* /*device*/,
                                                                    int channel,
                                                                    std::string token) {
    script.Call("CreateSyncPlaybackChannelServer", Text("%d %s", channel, token.c_str()));
    return script.MakesNull("CreateSyncPlaybackChannelServer") ? nullptr
                                                               : new FakePlayback(script, "");
}

bool FakeFactory::DeviceTest(__tagTvVideoParam* device, __tagTvSearchDeviceParam* info) {
    info->name = "found";
    info->ver = "1.0";
    info->channelnum = 4;
    info->devtype = 5;
    return script.Call("DeviceTest", Text("%s %d %s %s %d", device->ip.c_str(), device->port,
                                          device->username.c_str(), device->password.c_str(),
                                          device->httpsEnable ? 1 : 0)) == 0;
}

}  // namespace vms::test
