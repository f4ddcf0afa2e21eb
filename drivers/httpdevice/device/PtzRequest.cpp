#include "drivers/httpdevice/device/PtzRequest.h"

#include <algorithm>
#include <array>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/httpdevice/http/AnswerBound.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;

enum Operation { kTurn, kZoom, kFocus, kIris, kOneKeyFocus, kLensInit };

constexpr std::array<const char*, 9> kDirections = {
    "", "up", "down", "left", "right", "leftUp", "rightUp", "leftDown", "rightDown"};
constexpr std::array<const char*, 6> kLenses = {"", "zoom", "focus", "iris", "oneKeyFocus", "init"};
constexpr int kMaxSpeed = 100;

/// 0 or less leaves the choice to the device.
void PutSpeed(int speed, Json::Value& data) {
    if (speed > 0)
        data["speed"] = std::min(speed, kMaxSpeed);
}

bool MakeTurn(const __tagTvPtzParam& param, Json::Value& data) {
    data["operation"] = param.is_press != 0 ? "start" : "stop";
    if (param.is_press == 0)
        return true;
    if (param.turn < 1 || param.turn >= static_cast<int>(kDirections.size()))
        return false;
    data["direction"] = kDirections[static_cast<size_t>(param.turn)];
    PutSpeed(param.speed, data);
    return true;
}

void MakeLens(const __tagTvPtzParam& param, Json::Value& data) {
    data["lens"] = kLenses[static_cast<size_t>(param.opt)];
    if (param.opt >= kOneKeyFocus) {
        data["operation"] = "start";
        return;
    }
    data["operation"] = param.is_press != 0 ? "start" : "stop";
    if (param.is_press == 0)
        return;
    data["direction"] = param.is_add != 0 ? "add" : "sub";
    PutSpeed(param.speed, data);
}

std::string HeadUrl(const DeviceAddress& address, bool recorder) {
    return address.Url(recorder ? &Api::GetUrlPtzControl_Nvr : &Api::GetUrlPtzControl_Ipc);
}

}  // namespace

std::string PtzRequest::Body() const {
    Json::Value root;
    root["action"] = action;
    root["data"] = data;
    return root.toStyledString();
}

std::string PtzRequest::Url(const DeviceAddress& address, const DeviceProfile& profile) const {
    if (place == Place::kCruise)
        return address.Url(profile.recorder ? &Api::GetUrlPtzCruise_Nvr
                                            : &Api::GetUrlPtzCruise_Ipc);
    if (place == Place::kLens && !profile.recorder)
        return address.Url(&Api::GetUrlPtzZoomFocus_Ipc);
    return HeadUrl(address, profile.recorder);
}

bool MakeMovement(const __tagTvPtzParam& param, PtzRequest& request) {
    if (param.opt < kTurn || param.opt > kLensInit)
        return false;
    request.data["channel"] = param.channel;
    if (param.opt == kTurn)
        return MakeTurn(param, request.data);
    request.place = PtzRequest::Place::kLens;
    MakeLens(param, request.data);
    return true;
}

Json::Value PresetToJson(const __tagTvPtzPresetParam& preset) {
    Json::Value json;
    json["presetIdx"] = preset.presetIdx;
    json["presetName"] = preset.presetName;
    json["speed"] = preset.speed;
    json["enablePreset"] = preset.enablePreset;
    json["readOnly"] = preset.readOnly;
    json["presetDweelTime"] = preset.presetDweelTime;
    return json;
}

Json::Value CruiseToJson(const __tagTvPtzCruiseParam& cruise) {
    Json::Value json;
    json["cruiseIdx"] = cruise.cruiseIdx;
    json["enableCruise"] = cruise.enableCruise;
    json["cruisePresetList"] = Json::Value(Json::arrayValue);
    for (const __tagTvPtzPresetParam& preset : cruise.presets)
        json["cruisePresetList"].append(PresetToJson(preset));
    return json;
}

std::list<__tagTvPtzPresetParam> PresetsFromJson(const Json::Value& list) {
    std::list<__tagTvPtzPresetParam> presets;
    if (!list.isArray())
        return presets;
    for (const Json::Value& json : list) {
        if (presets.size() == kMaxItems)
            break;
        if (!json.isObject())
            continue;
        __tagTvPtzPresetParam& preset = presets.emplace_back();
        ReadInt(json, "presetIdx", preset.presetIdx);
        ReadString(json, "presetName", preset.presetName);
        ReadInt(json, "speed", preset.speed);
        ReadInt(json, "enablePreset", preset.enablePreset);
        ReadInt(json, "readOnly", preset.readOnly);
        ReadInt(json, "presetDweelTime", preset.presetDweelTime);
    }
    return presets;
}

__tagTvPtzCruiseParam CruiseFromJson(const Json::Value& json) {
    __tagTvPtzCruiseParam cruise;
    ReadInt(json, "cruiseIdx", cruise.cruiseIdx);
    ReadInt(json, "enableCruise", cruise.enableCruise);
    cruise.presets = PresetsFromJson(Member(json, "cruisePresetList"));
    return cruise;
}

}  // namespace vms::httpdevice
