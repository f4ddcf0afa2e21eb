#include <json/value.h>

#include "drivers/httpdevice/device/AnswerData.h"
#include "drivers/httpdevice/device/HttpDevice.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

constexpr int kNoCruise = -1;

PtzRequest GetRequest(int channel, PtzRequest::Place place = PtzRequest::Place::kHead) {
    PtzRequest request;
    request.place = place;
    request.action = "get";
    request.data["channel"] = channel;
    return request;
}

PtzRequest SetRequest(int channel, const char* operation,
                      PtzRequest::Place place = PtzRequest::Place::kHead) {
    PtzRequest request;
    request.place = place;
    request.data["channel"] = channel;
    request.data["operation"] = operation;
    return request;
}

int Result(bool done) {
    return done ? 0 : -1;
}

}  // namespace

bool HttpDevice::Send(const PtzRequest& request) {
    const auto profile = Profile();
    return profile != nullptr &&
           connection_->Call(request.Url(connection_->Address(), *profile), request.Body());
}

bool HttpDevice::Ask(const PtzRequest& request, Json::Value& data) {
    const auto profile = Profile();
    return profile != nullptr &&
           connection_->Call(request.Url(connection_->Address(), *profile), request.Body(),
                             [&](const std::string& answer) { return ReadData(answer, data); });
}

int HttpDevice::PtzGetCapability(__tagTvPtzCapability* capability) {
    const auto profile = Profile();
    if (profile == nullptr)
        return -1;
    *capability = profile->ptz;
    return 0;
}

int HttpDevice::PtzControl(__tagTvPtzParam* param) {
    PtzRequest request;
    return Result(MakeMovement(*param, request) && Send(request));
}

int HttpDevice::PtzGetSpeed(int channel) {
    Json::Value data;
    int speed = -1;
    if (Ask(GetRequest(channel), data))
        ReadInt(data, "speed", speed);
    return speed;
}

int HttpDevice::PtzSetSpeed(int channel, int speed) {
    PtzRequest request = SetRequest(channel, "setSpeed");
    request.data["speed"] = speed;
    return Result(Send(request));
}

int HttpDevice::PtzGetPreset(int channel, int* auto3DEnable, int* auto3DStatus,
                             std::list<__tagTvPtzPresetParam>* presets) {
    Json::Value data;
    if (!Ask(GetRequest(channel), data))
        return -1;
    ReadInt(data, "auto3DEnable", *auto3DEnable);
    ReadInt(data, "auto3DStatus", *auto3DStatus);
    presets->splice(presets->end(), PresetsFromJson(Member(data, "presets")));
    return 0;
}

int HttpDevice::SendPreset(int channel, const char* operation,
                           const __tagTvPtzPresetParam& preset) {
    PtzRequest request = SetRequest(channel, operation);
    request.data["preset"] = PresetToJson(preset);
    return Result(Send(request));
}

int HttpDevice::PtzAddPreset(int channel, __tagTvPtzPresetParam* preset) {
    return SendPreset(channel, "presetAdd", *preset);
}

int HttpDevice::PtzDelPreset(int channel, __tagTvPtzPresetParam* preset) {
    return SendPreset(channel, "presetDel", *preset);
}

int HttpDevice::PtzCallPreset(int channel, __tagTvPtzPresetParam* preset) {
    return SendPreset(channel, "presetCall", *preset);
}

bool HttpDevice::AskCruises(int channel, int cruiseIdx, Json::Value& data) {
    PtzRequest request = GetRequest(channel, PtzRequest::Place::kCruise);
    request.data["cruiseIdx"] = cruiseIdx;
    return Ask(request, data);
}

int HttpDevice::PtzGetCruise(int channel, int cruiseIdx, __tagTvPtzCruiseParam* cruise) {
    Json::Value data;
    if (!AskCruises(channel, cruiseIdx, data))
        return -1;
    const Json::Value& first = FirstElement(Member(data, "cruises"));
    if (!first.isObject())
        return -1;
    *cruise = CruiseFromJson(first);
    return 0;
}

int HttpDevice::PtzAddCruise(int channel, __tagTvPtzCruiseParam* cruise) {
    PtzRequest request = SetRequest(channel, "add", PtzRequest::Place::kCruise);
    request.data["cruise"] = CruiseToJson(*cruise);
    return Result(Send(request));
}

int HttpDevice::SendCruise(int channel, const char* operation, int cruiseIdx) {
    PtzRequest request = SetRequest(channel, operation, PtzRequest::Place::kCruise);
    request.data["cruiseIdx"] = cruiseIdx;
    return Result(Send(request));
}

int HttpDevice::PtzDelCruise(int channel, int cruiseIdx) {
    return SendCruise(channel, "del", cruiseIdx);
}

int HttpDevice::PtzStartCruise(int channel, int cruiseIdx) {
    return SendCruise(channel, "start", cruiseIdx);
}

int HttpDevice::PtzStopCruise(int channel, int cruiseIdx) {
    Json::Value data;
    if (cruiseIdx == kNoCruise && AskCruises(channel, kNoCruise, data))
        ReadInt(data, "running", cruiseIdx);
    return cruiseIdx == kNoCruise ? -1 : SendCruise(channel, "stop", cruiseIdx);
}

}  // namespace vms::httpdevice
