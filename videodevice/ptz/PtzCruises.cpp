#include "platform/Json.h"
#include "videodevice/core/Response.h"
#include "videodevice/ptz/PtzOperations.h"

namespace vms {
namespace {

constexpr int kNoCruise = -1;

int ReadCruiseIndex(const Json::Value& body) {
    int index = kNoCruise;
    ReadInt(Member(body, "cruise"), "cruiseIdx", index);
    return index;
}

__tagTvPtzPresetParam ReadStop(const Json::Value& element) {
    __tagTvPtzPresetParam stop;
    ReadInt(element, "presetIdx", stop.presetIdx);
    ReadInt(element, "speed", stop.speed);
    ReadInt(element, "presetDweelTime", stop.presetDweelTime);
    ReadInt(element, "enablePreset", stop.enablePreset);
    return stop;
}

Json::Value ToJson(const __tagTvPtzPresetParam& stop) {
    Json::Value value(Json::objectValue);
    value["presetIdx"] = stop.presetIdx;
    value["speed"] = stop.speed;
    value["presetDweelTime"] = stop.presetDweelTime;
    value["enablePreset"] = stop.enablePreset;
    return value;
}

using CruiseCall = int (IVideoDevice::*)(int channel, int cruiseIdx);

void CallWithIndex(CruiseCall call, IVideoDevice& device, int channel, const Json::Value& body,
                   __tagTvCommand& response) {
    if ((device.*call)(channel, ReadCruiseIndex(body)) >= 0)
        response.result = 1;
}

}  // namespace

void PtzGetCruise(IVideoDevice& device, int channel, const Json::Value& body,
                  __tagTvCommand& response) {
    __tagTvPtzCruiseParam cruise;
    if (device.PtzGetCruise(channel, ReadCruiseIndex(body), &cruise) < 0)
        return;
    Json::Value answer(Json::objectValue);
    Json::Value& member = answer["cruise"];
    member["cruiseIdx"] = cruise.cruiseIdx;
    member["enableCruise"] = cruise.enableCruise;
    for (const __tagTvPtzPresetParam& stop : cruise.presets)
        member["cruisePresetList"].append(ToJson(stop));
    Succeed(response, answer.toStyledString());
}

void PtzAddCruise(IVideoDevice& device, int channel, const Json::Value& body,
                  __tagTvCommand& response) {
    const Json::Value& member = Member(body, "cruise");
    const Json::Value& stops = Member(member, "cruisePresetList");
    __tagTvPtzCruiseParam cruise;
    ReadInt(member, "cruiseIdx", cruise.cruiseIdx);
    ReadInt(member, "enableCruise", cruise.enableCruise);
    if (stops.isArray()) {
        for (const Json::Value& stop : stops)
            cruise.presets.push_back(ReadStop(stop));
    }
    if (device.PtzAddCruise(channel, &cruise) >= 0)
        response.result = 1;
}

void PtzDelCruise(IVideoDevice& device, int channel, const Json::Value& body,
                  __tagTvCommand& response) {
    CallWithIndex(&IVideoDevice::PtzDelCruise, device, channel, body, response);
}

void PtzStartCruise(IVideoDevice& device, int channel, const Json::Value& body,
                    __tagTvCommand& response) {
    CallWithIndex(&IVideoDevice::PtzStartCruise, device, channel, body, response);
}

void PtzStopCruise(IVideoDevice& device, int channel, const Json::Value& body,
                   __tagTvCommand& response) {
    CallWithIndex(&IVideoDevice::PtzStopCruise, device, channel, body, response);
}

}  // namespace vms
