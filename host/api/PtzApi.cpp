#include "host/api/PtzApi.h"

#include <algorithm>
#include <utility>

#include "host/api/ApiError.h"
#include "host/api/ApiFields.h"
#include "host/api/PtzActions.h"
#include "host/text/JsonText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr int kMostSpeed = 100;
constexpr int kMostIndex = 65535;  ///< of presets and cruises
constexpr size_t kMostStops = 256;
constexpr int kMostSeconds = 86'400;
constexpr size_t kLongestName = 256;

// ms; how long a movement goes on that nobody stops
constexpr int kDuration = 5'000;
constexpr int kLeastDuration = 50;
constexpr int kMostDuration = 60'000;

HttpResponse Done(const std::string&) {
    return EmptyAnswer();
}

Json::Value ParseAnswer(const std::string& body) {
    Json::Value told;
    if (MostJsonValues(body) > 100'000 || !ParseJson(body.c_str(), told) || !told.isObject())
        throw ApiError(502, "the module's answer makes no sense");
    return told;
}

int IntegerIn(const Json::Value& object, const char* name) {
    int value = 0;
    ReadInt(object, name, value);
    return value;
}

HttpResponse SpeedAnswer(const std::string& body) {
    Json::Value text(Json::objectValue);
    text["speed"] = IntegerIn(ParseAnswer(body), "speed");
    return JsonAnswer(text);
}

Json::Value PresetText(const Json::Value& told) {
    Json::Value preset(Json::objectValue);
    std::string name;
    ReadString(told, "presetName", name);
    preset["preset"] = IntegerIn(told, "presetIdx");
    preset["name"] = name;
    preset["speed"] = IntegerIn(told, "speed");
    preset["enabled"] = IntegerIn(told, "enablePreset") != 0;
    preset["readOnly"] = IntegerIn(told, "readOnly") != 0;
    return preset;
}

HttpResponse PresetsAnswer(const std::string& body) {
    const Json::Value told = ParseAnswer(body);
    static constexpr std::pair<const char*, const char*> kFlags[] = {
        {"supportPtz", "move"},
        {"supportOperture", "iris"},
        {"supportOnekeyFocus", "focusOnce"},
        {"supportLenInit", "lensInit"},
        {"supportPosition3D", "position3d"}};
    Json::Value text(Json::objectValue);
    for (const auto& [wire, name] : kFlags)
        text["can"][name] = IntegerIn(told, wire) != 0;
    text["presets"] = Json::Value(Json::arrayValue);
    const Json::Value& presets = Member(told, "presetList");
    for (Json::ArrayIndex i = 0; presets.isArray() && i < presets.size(); ++i)
        text["presets"].append(PresetText(presets[i]));
    return JsonAnswer(text);
}

HttpResponse CruiseAnswer(const std::string& body) {
    const Json::Value answer = ParseAnswer(body);
    const Json::Value& told = Member(answer, "cruise");
    Json::Value text(Json::objectValue);
    text["cruise"] = IntegerIn(told, "cruiseIdx");
    text["enabled"] = IntegerIn(told, "enableCruise") != 0;
    text["stops"] = Json::Value(Json::arrayValue);
    const Json::Value& stops = Member(told, "cruisePresetList");
    for (Json::ArrayIndex i = 0; stops.isArray() && i < stops.size(); ++i) {
        Json::Value stop(Json::objectValue);
        stop["preset"] = IntegerIn(stops[i], "presetIdx");
        stop["speed"] = IntegerIn(stops[i], "speed");
        stop["seconds"] = IntegerIn(stops[i], "presetDweelTime");
        stop["enabled"] = IntegerIn(stops[i], "enablePreset") != 0;
        text["stops"].append(std::move(stop));
    }
    return JsonAnswer(text);
}

Json::Value BodyFor(const ApiFields& fields, int action) {
    return PtzBody(fields.Device(), fields.Channel(), action);
}

/// @param name "preset" or "cruise"
int Index(const ApiFields& fields, const char* name) {
    return fields.Integer(name, 0, kMostIndex);
}

}  // namespace

void PtzApi::AddTo(HttpRouter& router) {
    const auto add = [&](const char* method, const char* path, Serve serve) {
        router.Add(method, path,
                   Answering([this, serve](const HttpRequest& request, const Reply& reply) {
                       (this->*serve)(request, reply);
                   }));
    };
    add("POST", "/api/ptz", &PtzApi::Act);
    add("GET", "/api/ptz", &PtzApi::ReadSpeed);
    add("PUT", "/api/ptz", &PtzApi::SetSpeed);
    add("GET", "/api/presets", &PtzApi::ReadPresets);
    add("PUT", "/api/presets", &PtzApi::PutPreset);
    add("DELETE", "/api/presets", &PtzApi::DeletePreset);
    add("GET", "/api/cruises", &PtzApi::ReadCruise);
    add("PUT", "/api/cruises", &PtzApi::PutCruise);
    add("DELETE", "/api/cruises", &PtzApi::DeleteCruise);
}

void PtzApi::Ask(const Json::Value& body, const char* failure, const Reply& reply,
                 DeviceAsker::Then then, DeviceAsker::Outcome outcome) {
    asker_.Ask({body["id"].asString(), TV_CMD_PTZ_CONTROL, CompactJson(body), failure}, reply,
               std::move(then), std::move(outcome));
}

void PtzApi::Act(const HttpRequest& request, const Reply& reply) {
    const ApiFields fields = ApiFields::OfBody(
        request, {"device", "channel", "action", "speed", "duration", "preset", "cruise"});
    const std::string name = fields.Text("action");
    if (const PtzAction* const action = FindPtzAction(name)) {
        Move(fields, *action, reply);
    } else if (name == "stop") {
        Stop(fields, reply);
    } else if (name == "go-to-preset") {
        Json::Value body = BodyFor(fields, kPtzCallPreset);
        body["preset"]["presetIdx"] = Index(fields, "preset");
        body["preset"]["speed"] = fields.IntegerOr("speed", 0, 0, kMostSpeed);
        Ask(body, "the device did not go to the preset", reply, Done);
    } else if (name == "start-cruise" || name == "stop-cruise") {
        const bool starts = name == "start-cruise";
        Json::Value body = BodyFor(fields, starts ? kPtzStartCruise : kPtzStopCruise);
        body["cruise"]["cruiseIdx"] = starts || fields.Has("cruise") ? Index(fields, "cruise") : -1;
        Ask(body, starts ? "the cruise did not start" : "the cruise did not stop", reply, Done);
    } else {
        fields.Fail("action", "expected one of " + PtzActionNames() +
                                  ", stop, go-to-preset, start-cruise, stop-cruise");
    }
}

/// The end is arranged for before the movement begins: the device's requests keep their order.
void PtzApi::Move(const ApiFields& fields, const PtzAction& action, const Reply& reply) {
    Json::Value body = BodyFor(fields, kPtzMove);
    body["contrl"] = action.Control(true, fields.IntegerOr("speed", 0, 0, kMostSpeed));
    const char* const failure = "the device did not move";
    if (!action.isContinuous) {
        Ask(body, failure, reply, Done);
        return;
    }
    const std::chrono::milliseconds duration(
        fields.IntegerOr("duration", kDuration, kLeastDuration, kMostDuration));
    const PtzMoves::Part part{body["id"].asString(), body["channel"].asInt(), action.operation};
    Json::Value stop = body;
    stop["contrl"] = action.Control(false, 0);
    const BusRequest end{asker_.ModuleOf(part.device), TV_CMD_PTZ_CONTROL, part.device,
                         CompactJson(stop)};
    const uint64_t number = moves_->Begin(part, end, duration);
    if (number == 0)
        throw ApiError(503, "too much is moving");
    try {
        Ask(body, failure, reply, Done);
    } catch (...) {
        moves_->Ended(part, number);
        throw;
    }
}

/// What turns, and every lens that the API has set going.
void PtzApi::Stop(const ApiFields& fields, const Reply& reply) {
    Json::Value body = BodyFor(fields, kPtzMove);
    body["contrl"] = FindPtzAction("up")->Control(false, 0);
    body["contrl"]["turn"] = 0;
    DeviceAsker::Outcome outcome;
    for (const auto& [part, number] :
         moves_->MovingOn(body["id"].asString(), body["channel"].asInt())) {
        if (part.operation != FindPtzAction("up")->operation) {
            moves_->StopNow(part, number);
            continue;
        }
        outcome = [weak = std::weak_ptr(moves_), turning = part,
                   turn = number](const Answer& answer) {
            const auto moves = weak.lock();
            if (moves != nullptr && answer.Succeeded())
                moves->Ended(turning, turn);
        };
    }
    Ask(body, "the device did not stop", reply, Done, std::move(outcome));
}

void PtzApi::ReadSpeed(const HttpRequest& request, const Reply& reply) {
    Ask(BodyFor(ApiFields::OfQuery(request), kPtzReadSpeed), "the device does not tell its speed",
        reply, SpeedAnswer);
}

void PtzApi::SetSpeed(const HttpRequest& request, const Reply& reply) {
    const ApiFields fields = ApiFields::OfBody(request, {"device", "channel", "speed"});
    Json::Value body = BodyFor(fields, kPtzSetSpeed);
    body["speed"] = fields.Integer("speed", 1, kMostSpeed);
    Ask(body, "the speed could not be set", reply, Done);
}

void PtzApi::ReadPresets(const HttpRequest& request, const Reply& reply) {
    Ask(BodyFor(ApiFields::OfQuery(request), kPtzReadPresets),
        "the device does not tell its presets", reply, PresetsAnswer);
}

void PtzApi::PutPreset(const HttpRequest& request, const Reply& reply) {
    const ApiFields fields = ApiFields::OfBody(
        request, {"device", "channel", "preset", "name", "speed", "enabled", "readOnly"});
    Json::Value body = BodyFor(fields, kPtzPutPreset);
    Json::Value& preset = body["preset"];
    preset["presetIdx"] = Index(fields, "preset");
    preset["presetName"] = fields.TextOr("name", "", kLongestName);
    preset["speed"] = fields.IntegerOr("speed", 0, 0, kMostSpeed);
    preset["enablePreset"] = fields.BooleanOr("enabled", true) ? 1 : 0;
    preset["readOnly"] = fields.BooleanOr("readOnly", false) ? 1 : 0;
    Ask(body, "the preset could not be stored", reply, Done);
}

void PtzApi::DeletePreset(const HttpRequest& request, const Reply& reply) {
    const ApiFields query = ApiFields::OfQuery(request);
    Json::Value body = BodyFor(query, kPtzDeletePreset);
    body["preset"]["presetIdx"] = Index(query, "preset");
    Ask(body, "the preset could not be deleted", reply, Done);
}

void PtzApi::ReadCruise(const HttpRequest& request, const Reply& reply) {
    const ApiFields query = ApiFields::OfQuery(request);
    Json::Value body = BodyFor(query, kPtzReadCruise);
    body["cruise"]["cruiseIdx"] = query.Has("cruise") ? Index(query, "cruise") : -1;
    Ask(body, "the device has no such cruise", reply, CruiseAnswer);
}

void PtzApi::PutCruise(const HttpRequest& request, const Reply& reply) {
    const ApiFields fields =
        ApiFields::OfBody(request, {"device", "channel", "cruise", "enabled", "stops"});
    Json::Value body = BodyFor(fields, kPtzPutCruise);
    Json::Value& cruise = body["cruise"];
    cruise["cruiseIdx"] = Index(fields, "cruise");
    cruise["enableCruise"] = fields.BooleanOr("enabled", true) ? 1 : 0;
    cruise["cruisePresetList"] = Json::Value(Json::arrayValue);
    for (const ApiFields& place :
         fields.Objects("stops", kMostStops, {"preset", "speed", "seconds", "enabled"})) {
        Json::Value stop(Json::objectValue);
        stop["presetIdx"] = Index(place, "preset");
        stop["speed"] = place.IntegerOr("speed", 0, 0, kMostSpeed);
        stop["presetDweelTime"] = place.Integer("seconds", 1, kMostSeconds);
        stop["enablePreset"] = place.BooleanOr("enabled", true) ? 1 : 0;
        cruise["cruisePresetList"].append(std::move(stop));
    }
    if (cruise["cruisePresetList"].empty())
        fields.Fail("stops", "names no preset");
    Ask(body, "the cruise could not be stored", reply, Done);
}

void PtzApi::DeleteCruise(const HttpRequest& request, const Reply& reply) {
    const ApiFields query = ApiFields::OfQuery(request);
    Json::Value body = BodyFor(query, kPtzDeleteCruise);
    body["cruise"]["cruiseIdx"] = Index(query, "cruise");
    Ask(body, "the cruise could not be deleted", reply, Done);
}

}  // namespace vms::host
