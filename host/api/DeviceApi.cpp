#include "host/api/DeviceApi.h"

#include <utility>

#include "host/api/ApiError.h"
#include "host/api/ApiFields.h"
#include "host/api/DeviceInfo.h"
#include "host/api/DeviceText.h"
#include "host/text/JsonText.h"
#include "host/text/PercentText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr int kMostPerPage = 10'000;

int StatusOf(ChangeOutcome::Kind kind) {
    switch (kind) {
        case ChangeOutcome::Kind::kDone:
            return 200;
        case ChangeOutcome::Kind::kUnknown:
            return 404;
        case ChangeOutcome::Kind::kTaken:
        case ChangeOutcome::Kind::kConfigured:
            return 409;
        case ChangeOutcome::Kind::kInvalid:
            return 400;
        case ChangeOutcome::Kind::kFull:
            return 503;
        case ChangeOutcome::Kind::kRefused:
            return 502;
        case ChangeOutcome::Kind::kSilent:
            return 504;
        case ChangeOutcome::Kind::kNotKept:
            return 507;
    }
    return 500;
}

/// The body's members that describe the device.
Json::Value Description(const HttpRequest& request) {
    Json::Value values =
        ApiFields::OfBody(request,
                          {"id", "name", "uctype", "devtype", "ptype", "channelnum", "status", "ip",
                           "port", "httpPort", "username", "password", "streamType", "connectType",
                           "p2p", "enable", "httpsEnable", "module", "kind"})
            .Values();
    values.removeMember("module");
    values.removeMember("kind");
    return values;
}

HttpResponse TestAnswer(const std::string& body) {
    Json::Value told;
    if (!ParseJson(body.c_str(), told))
        throw ApiError(502, "the module's answer makes no sense");
    Json::Value text(Json::objectValue);
    text["channels"] = 0;
    int number = 0;
    std::string word;
    if (ReadInt(told, "channelnum", number))
        text["channels"] = number;
    if (ReadInt(told, "devtype", number))
        text["type"] = number;
    if (ReadString(told, "name", word))
        text["name"] = word;
    if (ReadString(told, "ver", word))
        text["version"] = word;
    return JsonAnswer(text);
}

/// What a module tests: the body's address, or that of a device which is known already.
Json::Value TestTarget(const ApiFields& fields, const KnownDevice* known) {
    static constexpr const char* kMembers[] = {"ip", "port", "username", "password", "httpsEnable"};
    Json::Value target(Json::objectValue);
    for (const char* const member : kMembers) {
        if (known != nullptr && known->description.isMember(member))
            target[member] = known->description[member];
        if (fields.Has(member))
            target[member] = fields.Values()[member];
    }
    Json::Value device = target;
    device["id"] = "test";
    const std::string problem = DescriptionProblem(device);
    if (!problem.empty())
        throw ApiError(400, problem);
    return target;
}

}  // namespace

void DeviceApi::AddTo(HttpRouter& router) {
    const auto served = [this](void (DeviceApi::*serve)(const HttpRequest&, const Reply&)) {
        return Answering([this, serve](const HttpRequest& request, const Reply& reply) {
            (this->*serve)(request, reply);
        });
    };
    router.Add("GET", "/api/devices",
               Answering([this](const auto& request, const auto& reply) { List(request, reply); }));
    router.Add("POST", "/api/devices", served(&DeviceApi::Add));
    router.Add("POST", "/api/devices/test", served(&DeviceApi::Test));
    // A device may be called "test", too.
    for (const char* const path : {"/api/devices/", "/api/devices/test"}) {
        for (const char* const method : {"GET", "PATCH", "DELETE", "PUT"})
            router.Add(method, path, served(&DeviceApi::ServeDevice));
    }
}

void DeviceApi::List(const HttpRequest& request, const Reply& reply) const {
    const ApiFields query = ApiFields::OfQuery(request);
    const auto offset = static_cast<size_t>(query.IntegerOr("offset", 0, 0, INT32_MAX));
    const auto limit = static_cast<size_t>(query.IntegerOr("limit", kMostPerPage, 1, kMostPerPage));
    const std::vector<KnownDevice> all = devices_.All();
    Json::Value text(Json::objectValue);
    text["devices"] = Json::Value(Json::arrayValue);
    for (size_t i = offset; i < all.size() && i - offset < limit; ++i)
        text["devices"].append(DeviceText(all[i]));
    text["total"] = static_cast<Json::UInt64>(all.size());
    reply->Send(JsonAnswer(text));
}

std::string DeviceApi::PickModule(const ApiFields& fields) const {
    const auto& modules = devices_.Settings().modules;
    const std::string name = fields.TextOr("module", "", ApiFields::kLongestId);
    const std::string kind = fields.TextOr("kind", "", ApiFields::kLongestId);
    std::string names;
    std::string found;
    for (const ModuleConfig& module : modules) {
        names +=
            (names.empty() ? "" : ", ") + module.name + " (" + KindOfLibrary(module.library) + ")";
        const bool fits = !name.empty()   ? module.name == name
                          : !kind.empty() ? KindOfLibrary(module.library) == kind
                                          : modules.size() == 1;
        if (fits && found.empty())
            found = module.name;
    }
    if (found.empty())
        throw ApiError(400, "name a \"module\" or a \"kind\" that there is: " + names);
    return found;
}

void DeviceApi::Add(const HttpRequest& request, const Reply& reply) {
    Json::Value description = Description(request);
    const std::string problem = DescriptionProblem(description);
    if (!problem.empty())
        throw ApiError(400, problem);
    const std::string module = PickModule(ApiFields::OfBody(
        request, {"id", "name", "uctype", "devtype", "ptype", "channelnum", "status", "ip", "port",
                  "httpPort", "username", "password", "streamType", "connectType", "p2p", "enable",
                  "httpsEnable", "module", "kind"}));
    const std::string id = description["id"].asString();
    devices_.Add(module, std::move(description),
                 [devices = &devices_, events = events_, id, reply](const ChangeOutcome& outcome) {
                     Answer(*devices, events, outcome, id, "device-added", 201, *reply);
                 });
}

void DeviceApi::Test(const HttpRequest& request, const Reply& reply) {
    const ApiFields fields = ApiFields::OfBody(
        request, {"device", "module", "kind", "ip", "port", "username", "password", "httpsEnable"});
    std::optional<KnownDevice> known;
    if (fields.Has("device")) {
        known = devices_.Find(fields.Device());
        if (!known)
            throw ApiError(404, "there is no such device");
    }
    const Json::Value target = TestTarget(fields, known ? &*known : nullptr);
    const std::string module = known ? known->module : PickModule(fields);
    asker_.AskModule(module, "tests of " + module,
                     {.device = "",
                      .id = TV_CMD_DEVICE_TEST,
                      .body = CompactJson(target),
                      .failure = "the device could not be reached, or refused the login"},
                     reply, TestAnswer);
}

void DeviceApi::ServeDevice(const HttpRequest& request, const Reply& reply) {
    // "/api/devices/ID" or "/api/devices/ID/WHAT"
    const auto& segments = request.segments;
    if (segments.size() > 4 || segments.size() < 3 || segments[2].empty())
        throw ApiError(404, "nothing is here");
    const std::string& id = segments[2];
    CheckText(id, "the device's identifier", ApiFields::kLongestId);
    if (segments.size() == 4)
        ServeDeviceInfo(asker_, id, segments[3], request, reply);
    else if (request.method == "GET")
        Show(id, *reply);
    else if (request.method == "PATCH")
        Change(id, request, reply);
    else if (request.method == "DELETE")
        Remove(id, reply);
    else
        throw ApiError(405, "use GET, PATCH or DELETE");
}

void DeviceApi::Show(const std::string& id, HttpReply& reply) const {
    const auto device = devices_.Find(id);
    if (!device)
        throw ApiError(404, "there is no such device");
    reply.Send(JsonAnswer(DeviceText(*device)));
}

/// Members that are null go; those that are not named stay, the password among them.
void DeviceApi::Change(const std::string& id, const HttpRequest& request, const Reply& reply) {
    const Json::Value changes = Description(request);
    if (changes.isMember("id") && changes["id"] != id)
        throw ApiError(400, "\"id\": an identifier stays as it is");
    const auto edit = [changes](Json::Value& description) {
        for (const std::string& name : changes.getMemberNames()) {
            if (changes[name].isNull())
                description.removeMember(name);
            else
                description[name] = changes[name];
        }
        return DescriptionProblem(description);
    };
    devices_.Change(
        id, edit, [devices = &devices_, events = events_, id, reply](const ChangeOutcome& outcome) {
            Answer(*devices, events, outcome, id, "device-changed", 200, *reply);
        });
}

void DeviceApi::Remove(const std::string& id, const Reply& reply) {
    devices_.Remove(
        id, [devices = &devices_, events = events_, id, reply](const ChangeOutcome& outcome) {
            Answer(*devices, events, outcome, id, "device-removed", 204, *reply);
        });
}

void DeviceApi::Answer(const DeviceLists& devices, EventLog* events, const ChangeOutcome& outcome,
                       const std::string& id, const char* event, int status, HttpReply& reply) {
    if (outcome.kind != ChangeOutcome::Kind::kDone) {
        reply.Send(HttpFailure(StatusOf(outcome.kind), outcome.text));
        return;
    }
    if (events != nullptr)
        events->Append({event, id, -1, {}});
    const auto device = devices.Find(id);
    HttpResponse response = device ? JsonAnswer(DeviceText(*device)) : EmptyAnswer();
    response.status = status;
    if (status == 201)
        response.headers["Location"] = "/api/devices/" + PercentEncode(id);
    if (status == 204)
        response.body.clear();
    reply.Send(std::move(response));
}

}  // namespace vms::host
