#include "sim/httpdevice/api/Endpoints.h"

namespace vms::sim::httpdevice {

namespace {

constexpr int kMaxDwell = 3600;
constexpr int kMaxStops = 256;
constexpr size_t kMaxName = 256;

int Flag(const Json::Value& object, const char* key, int fallback) {
    return static_cast<int>(Number(object, key, 0, 1, fallback).value_or(fallback));
}

std::optional<PtzPreset> ReadPreset(const Json::Value& json) {
    const auto index = Number(json, "presetIdx", 1, PtzHead::kMaxPreset);
    const auto speed = Number(json, "speed", 0, PtzHead::kMaxSpeed, 0);
    const auto dwell = Number(json, "presetDweelTime", 0, kMaxDwell, 0);
    if (!index || !speed || !dwell)
        return std::nullopt;
    PtzPreset preset;
    preset.index = static_cast<int>(*index);
    preset.name = Text(json, "presetName").substr(0, kMaxName);
    preset.speed = static_cast<int>(*speed);
    preset.dwellSeconds = static_cast<int>(*dwell);
    preset.enable = Flag(json, "enablePreset", 1);
    preset.readOnly = Flag(json, "readOnly", 0);
    return preset;
}

std::optional<PtzCruise> ReadCruise(const Json::Value& json) {
    const auto index = Number(json, "cruiseIdx", 0, PtzHead::kMaxCruise);
    const Json::Value& stops = Member(json, "cruisePresetList");
    if (!index || !stops.isArray() || stops.size() > kMaxStops)
        return std::nullopt;
    PtzCruise cruise;
    cruise.index = static_cast<int>(*index);
    cruise.enable = Flag(json, "enableCruise", 1);
    for (const Json::Value& item : stops) {
        const auto stop = ReadPreset(item);
        if (!stop)
            return std::nullopt;
        cruise.stops.push_back(*stop);
    }
    return cruise;
}

ResultCode DoneIf(bool condition) {
    return condition ? ResultCode::kDone : ResultCode::kBadValue;
}

ResultCode PresetOperation(PtzHead& head, const std::string& operation, const Json::Value& data) {
    const auto preset = ReadPreset(Member(data, "preset"));
    if (!preset)
        return ResultCode::kBadValue;
    if (operation == "presetDel")
        return DoneIf(head.RemovePreset(preset->index));
    if (operation == "presetCall")
        return DoneIf(head.GoToPreset(Clock::now(), preset->index));
    if (operation != "presetAdd")
        return ResultCode::kUnknownAction;
    head.StorePreset(Clock::now(), *preset);
    return ResultCode::kDone;
}

ResultCode LensOperation(PtzHead& head, const Json::Value& data) {
    const std::string lens = Text(data, "lens");
    const std::string operation = Text(data, "operation");
    const auto now = Clock::now();
    if (operation == "stop") {
        head.Stop(now);
        return ResultCode::kDone;
    }
    if (operation != "start")
        return ResultCode::kUnknownAction;
    if (lens == "oneKeyFocus")
        head.FocusOnce(now);
    else if (lens == "init")
        head.InitLens(now);
    if (lens == "oneKeyFocus" || lens == "init")
        return ResultCode::kDone;
    const std::string direction = Text(data, "direction");
    const auto speed = Number(data, "speed", 1, PtzHead::kMaxSpeed, head.speed());
    if (!speed || (direction != "add" && direction != "sub"))
        return ResultCode::kBadValue;
    return DoneIf(head.MoveLens(now, lens, direction == "add", static_cast<int>(*speed)));
}

ResultCode Operate(PtzHead& head, const Json::Value& data) {
    const std::string operation = Text(data, "operation");
    if (operation == "stop") {
        head.Stop(Clock::now());
        return ResultCode::kDone;
    }
    if (operation != "start" && operation != "setSpeed")
        return PresetOperation(head, operation, data);
    const auto speed = Number(data, "speed", 1, PtzHead::kMaxSpeed, head.speed());
    if (!speed)
        return ResultCode::kBadValue;
    if (operation == "start")
        return DoneIf(head.Move(Clock::now(), Text(data, "direction"), static_cast<int>(*speed)));
    head.SetSpeed(static_cast<int>(*speed));
    return ResultCode::kDone;
}

Json::Value Overview(const PtzHead& head, int channel) {
    Json::Value data(Json::objectValue);
    data["channel"] = channel;
    data["speed"] = head.speed();
    data["auto3DEnable"] = data["auto3DStatus"] = 0;
    data["presets"] = Json::arrayValue;
    for (const PtzPreset& preset : head.Presets())
        data["presets"].append(ToJson(preset));
    data["position"] = ToJson(head.Position(Clock::now()));
    return data;
}

ApiAnswer Cruises(const PtzHead& head, const Json::Value& request) {
    const auto wanted = Number(request, "cruiseIdx", -1, PtzHead::kMaxCruise, -1);
    if (!wanted)
        return ResultCode::kBadValue;
    Json::Value data(Json::objectValue);
    data["running"] = head.running();
    data["cruises"] = Json::arrayValue;
    for (const auto& [index, cruise] : head.cruises()) {
        if (*wanted < 0 || *wanted == index)
            data["cruises"].append(ToJson(cruise));
    }
    return data;
}

ResultCode CruiseOperation(PtzHead& head, const Json::Value& data) {
    const std::string operation = Text(data, "operation");
    const auto now = Clock::now();
    if (operation == "add") {
        const auto cruise = ReadCruise(Member(data, "cruise"));
        if (cruise)
            head.StoreCruise(*cruise);
        return DoneIf(cruise.has_value());
    }
    const auto index = Number(data, "cruiseIdx", 0, PtzHead::kMaxCruise);
    if (!index)
        return ResultCode::kBadValue;
    const int cruise = static_cast<int>(*index);
    if (operation == "del")
        return DoneIf(head.RemoveCruise(now, cruise));
    if (operation == "start")
        return DoneIf(head.StartCruise(now, cruise));
    if (operation == "stop")
        return DoneIf(head.StopCruise(now, cruise));
    return ResultCode::kUnknownAction;
}

}  // namespace

ApiAnswer PtzControl(Device& device, const ApiCall& call) {
    const auto channel = ChannelOf(device, call);
    if (!channel)
        return ResultCode::kBadValue;
    Channel& one = device.channel(*channel);
    MutexLock lock(one.mutex);
    if (call.IsGet())
        return Overview(one.ptz, *channel);
    if (!call.IsSet())
        return ResultCode::kUnknownAction;
    const bool lens = Member(call.data(), "lens").isString();
    if (lens && !device.config().recorder)
        return ResultCode::kBadValue;
    return lens ? LensOperation(one.ptz, call.data()) : Operate(one.ptz, call.data());
}

ApiAnswer ZoomFocus(Device& device, const ApiCall& call) {
    const auto channel = ChannelOf(device, call);
    if (!channel)
        return ResultCode::kBadValue;
    if (!call.IsSet())
        return ResultCode::kUnknownAction;
    Channel& one = device.channel(*channel);
    MutexLock lock(one.mutex);
    return LensOperation(one.ptz, call.data());
}

ApiAnswer PtzCruiseTours(Device& device, const ApiCall& call) {
    const auto channel = ChannelOf(device, call);
    if (!channel)
        return ResultCode::kBadValue;
    Channel& one = device.channel(*channel);
    MutexLock lock(one.mutex);
    if (call.IsGet())
        return Cruises(one.ptz, call.data());
    if (!call.IsSet())
        return ResultCode::kUnknownAction;
    return CruiseOperation(one.ptz, call.data());
}

}  // namespace vms::sim::httpdevice
