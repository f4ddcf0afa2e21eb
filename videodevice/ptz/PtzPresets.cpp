#include "platform/Json.h"
#include "videodevice/core/Response.h"
#include "videodevice/ptz/PtzOperations.h"

namespace vms {
namespace {

__tagTvPtzPresetParam ReadPreset(const Json::Value& body) {
    const Json::Value& member = Member(body, "preset");
    __tagTvPtzPresetParam preset;
    ReadInt(member, "presetIdx", preset.presetIdx);
    ReadString(member, "presetName", preset.presetName);
    ReadInt(member, "enablePreset", preset.enablePreset);
    ReadInt(member, "readOnly", preset.readOnly);
    ReadInt(member, "speed", preset.speed);
    return preset;
}

Json::Value ToJson(const __tagTvPtzPresetParam& preset) {
    Json::Value value(Json::objectValue);
    value["presetIdx"] = preset.presetIdx;
    value["presetName"] = preset.presetName;
    value["enablePreset"] = preset.enablePreset;
    value["readOnly"] = preset.readOnly;
    value["speed"] = preset.speed;
    return value;
}

Json::Value ToJson(const __tagTvPtzCapability& capability) {
    Json::Value value(Json::objectValue);
    value["supportPtz"] = capability.supportPtz;
    value["supportLenInit"] = capability.supportLenInit;
    value["supportOnekeyFocus"] = capability.supportOnekeyFocus;
    value["supportOperture"] = capability.supportOperture;
    value["supportPosition3D"] = capability.supportPosition3D;
    return value;
}

using PresetCall = int (IVideoDevice::*)(int channel, __tagTvPtzPresetParam* preset);

void CallWithPreset(PresetCall call, IVideoDevice& device, int channel, const Json::Value& body,
                    __tagTvCommand& response) {
    __tagTvPtzPresetParam preset = ReadPreset(body);
    if ((device.*call)(channel, &preset) >= 0)
        response.result = 1;
}

}  // namespace

void PtzGetPreset(IVideoDevice& device, int channel, const Json::Value& /*body*/,
                  __tagTvCommand& response) {
    int auto3DEnable = 0;
    int auto3DStatus = 0;
    std::list<__tagTvPtzPresetParam> presets;
    if (device.PtzGetPreset(channel, &auto3DEnable, &auto3DStatus, &presets) < 0)
        return;
    __tagTvPtzCapability capability;
    device.PtzGetCapability(&capability);
    Json::Value answer = ToJson(capability);
    answer["auto3DEnable"] = auto3DEnable;
    answer["auto3DStatus"] = auto3DStatus;
    for (const __tagTvPtzPresetParam& preset : presets)
        answer["presetList"].append(ToJson(preset));
    Succeed(response, answer.toStyledString());
}

void PtzAddPreset(IVideoDevice& device, int channel, const Json::Value& body,
                  __tagTvCommand& response) {
    CallWithPreset(&IVideoDevice::PtzAddPreset, device, channel, body, response);
}

void PtzDelPreset(IVideoDevice& device, int channel, const Json::Value& body,
                  __tagTvCommand& response) {
    CallWithPreset(&IVideoDevice::PtzDelPreset, device, channel, body, response);
}

void PtzCallPreset(IVideoDevice& device, int channel, const Json::Value& body,
                   __tagTvCommand& response) {
    CallWithPreset(&IVideoDevice::PtzCallPreset, device, channel, body, response);
}

}  // namespace vms
