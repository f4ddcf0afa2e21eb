#include "host/api/DeviceInfo.h"

#include <array>
#include <utility>

#include "host/api/ApiError.h"
#include "host/api/ApiFields.h"
#include "host/text/IsoTime.h"
#include "host/text/JsonText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr size_t kMostChannels = 4096;
constexpr size_t kLongestName = 256;

Json::Value ParseAnswer(const std::string& body) {
    Json::Value value;
    if (!ParseJson(body.c_str(), value) || !value.isObject())
        throw ApiError(502, "the device tells nothing of this");
    return value;
}

HttpResponse CapabilityAnswer(const std::string& body) {
    const Json::Value told = ParseAnswer(body);
    static constexpr std::array<std::pair<const char*, const char*>, 3> kFlags = {
        {{"supportThirdStream", "thirdStream"},
         {"supportTiming", "setTime"},
         {"version6_0", "version6"}}};
    Json::Value text(Json::objectValue);
    for (const auto& [wire, name] : kFlags) {
        int flag = 0;
        ReadInt(told, wire, flag);
        text[name] = flag != 0;
    }
    int ports = -1;
    ReadInt(told, "poeNum", ports);
    text["poePorts"] = ports < 0 ? Json::Value() : Json::Value(ports);
    return JsonAnswer(text);
}

/// Whatever the family tells beside the time stays as it is.
HttpResponse TimeAnswer(const std::string& body) {
    Json::Value told = ParseAnswer(body);
    const Json::Value seconds = Member(told, "time");
    if (!seconds.isInt64())
        throw ApiError(502, "the device does not tell its time");
    told["seconds"] = seconds;
    told["time"] = IsoTime(seconds.asInt64());
    return JsonAnswer(told);
}

HttpResponse ChannelsAnswer(const std::string& body) {
    const Json::Value told = ParseAnswer(body);
    if (!Member(told, "channels").isArray())
        throw ApiError(501, "the module does not tell the channels of this device");
    Json::Value text(Json::objectValue);
    text["channels"] = Json::Value(Json::arrayValue);
    for (const Json::Value& channel : told["channels"]) {
        int number = 0;
        std::string name;
        if (!ReadInt(channel, "channel", number))
            continue;
        ReadString(channel, "name", name);
        Json::Value entry(Json::objectValue);
        entry["channel"] = number;
        entry["name"] = name;
        text["channels"].append(std::move(entry));
    }
    return JsonAnswer(text);
}

HttpResponse AsTold(const std::string& body) {
    return JsonAnswer(ParseAnswer(body));
}

HttpResponse Nothing(const std::string&) {
    return EmptyAnswer();
}

/// {"channels": [{"channel", "name"}]} as modules read it.
std::string NamesBody(const std::string& device, const HttpRequest& request) {
    const ApiFields fields = ApiFields::OfBody(request, {"channels"});
    Json::Value names(Json::objectValue);
    names["id"] = device;
    names["channels"] = Json::Value(Json::arrayValue);
    for (const ApiFields& channel :
         fields.Objects("channels", kMostChannels, {"channel", "name"})) {
        Json::Value entry(Json::objectValue);
        entry["channel"] = channel.Integer("channel", 0, static_cast<int>(kMostChannels) - 1);
        entry["name"] = channel.Text("name", kLongestName);
        names["channels"].append(std::move(entry));
    }
    if (names["channels"].empty())
        fields.Fail("channels", "names no channel");
    return CompactJson(names);
}

struct Resource {
    const char* method;
    const char* what;
    __enumTvCommand id;
    const char* body;  ///< null = of the request
    const char* failure;
    HttpResponse (*answer)(const std::string& body);
};

constexpr std::array kResources = {
    Resource{"GET", "capability", TV_CMD_GET_CAPABILITY, "", "the device does not tell what it can",
             &CapabilityAnswer},
    Resource{"GET", "permission", TV_CMD_GET_DEVICE_PERMISSION, "",
             "the device does not tell its rights", &AsTold},
    Resource{"GET", "connection", TV_CMD_GET_CONNECT_TYPE, "",
             "the device does not tell how it is connected", &AsTold},
    Resource{"GET", "time", TV_CMD_GET_DEVICE_TIME, "", "the device does not tell its time",
             &TimeAnswer},
    Resource{"PUT", "time", TV_CMD_DEV_TIMING, "", "the device's clock could not be set", &Nothing},
    Resource{"GET", "channels", TV_CMD_TRANSMISSION, R"({"uri":"channels","request":""})",
             "the device does not tell its channels", &ChannelsAnswer},
    Resource{"PUT", "channels", TV_CMD_SET_CHANNEL_NAME, nullptr, "the channels could not be named",
             &Nothing},
};

}  // namespace

void ServeDeviceInfo(DeviceAsker& asker, const std::string& device, const std::string& what,
                     const HttpRequest& request, const std::shared_ptr<HttpReply>& reply) {
    bool isKnown = false;
    for (const Resource& resource : kResources) {
        if (what != resource.what)
            continue;
        isKnown = true;
        if (request.method != resource.method)
            continue;
        std::string body = resource.body == nullptr ? NamesBody(device, request) : resource.body;
        asker.Ask({device, resource.id, std::move(body), resource.failure}, reply, resource.answer);
        return;
    }
    throw isKnown ? ApiError(405, "this cannot be done with " + what)
                  : ApiError(404, "nothing is here");
}

}  // namespace vms::host
