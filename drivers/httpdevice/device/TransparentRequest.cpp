#include "drivers/httpdevice/device/TransparentRequest.h"

#include <json/value.h>

#include <algorithm>
#include <chrono>
#include <string_view>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/httpdevice/device/AnswerData.h"
#include "drivers/httpdevice/device/PtzRequest.h"
#include "drivers/httpdevice/session/AnswerCode.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;

constexpr std::string_view kApiPath = "/api/";
constexpr size_t kMaxPath = 1024;
constexpr size_t kMaxName = 1024;
constexpr std::chrono::seconds kMaxTime{60};  // for all names of a device
constexpr const char* kGet = R"({"action":"get"})";

bool IsApiPath(const std::string& uri) {
    return uri.starts_with(kApiPath) && uri.size() <= kMaxPath &&
           std::all_of(uri.begin(), uri.end(),
                       [](unsigned char c) { return c > 0x20 && c < 0x7f && c != '#'; });
}

std::string ManualAlarmUrl(const DeviceAddress& address, const DeviceProfile& profile) {
    return address.Url(profile.recorder ? &Api::GetManualAlarm_NVR : &Api::GetManualAlarm_Ipc);
}

/// {"channel", "output", "active"} switches an output, {"channel"} asks for all of them.
std::string ManualAlarmBody(const std::string& request) {
    Json::Value parameters;
    ParseJson(request.c_str(), parameters);
    Json::Value root;
    root["action"] = Member(parameters, "output").isNull() ? "get" : "set";
    root["data"] = parameters.isObject() ? parameters : Json::Value(Json::objectValue);
    return root.toStyledString();
}

/// Passes the answer on, unless the session is what is wrong with it.
bool PassOn(DeviceConnection& device, const std::string& url, const std::string& request,
            std::string& body) {
    const AnswerBound bound{device.Runtime()->Settings().maxAnswerBytes, kLongAnswer.values};
    const auto read = [&](const std::string& answer) {
        const int code = AnswerCodeOf(answer);
        if (code == kUnusable || code == kKeyProofOwed || WantsLogin(code))
            return false;
        body = answer;
        return true;
    };
    return device.Call(url, request, read, bound);
}

bool DescribeDevice(DeviceConnection& device, std::string& body) {
    return device.Call(device.Address().Url(&Api::GetUrlVersion), Api::GetVersionRequestData(),
                       [&](const std::string& answer) {
                           Json::Value data;
                           if (!ReadData(answer, data) || !data.isObject())
                               return false;
                           body = data.toStyledString();
                           return true;
                       });
}

bool DescribeChannels(DeviceConnection& device, const DeviceProfile& profile, std::string& body) {
    Json::Value root;
    root["channels"] = Json::Value(Json::arrayValue);
    const auto deadline = std::chrono::steady_clock::now() + kMaxTime;
    for (int i = 0; i < profile.channels; ++i) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::string name;
        const bool known = device.Call(
            device.Address().Url(&Api::GetUrlOsdGet) + "?channel=" + std::to_string(i),
            Api::GetOsdGetRequestData(), [&](const std::string& answer) {
                return Api::DeSerializeOsdGet(answer.c_str(), name) == 0 && name.size() <= kMaxName;
            });
        if (!known)
            return false;
        Json::Value channel;
        channel["channel"] = i;
        channel["name"] = name;
        root["channels"].append(std::move(channel));
    }
    body = root.toStyledString();
    return true;
}

bool DescribePosition(DeviceConnection& device, const DeviceProfile& profile,
                      const std::string& request, std::string& body) {
    Json::Value parameters;
    int channel = 0;
    ParseJson(request.c_str(), parameters);
    ReadInt(parameters, "channel", channel);
    PtzRequest ask;
    ask.action = "get";
    ask.data["channel"] = channel;
    return device.Call(ask.Url(device.Address(), profile), ask.Body(),
                       [&](const std::string& answer) {
                           Json::Value data;
                           if (!ReadData(answer, data))
                               return false;
                           body = Member(data, "position").toStyledString();
                           return true;
                       });
}

}  // namespace

int Transmit(DeviceConnection& device, const DeviceProfile& profile, const std::string& uri,
             const std::string& request, std::string& body) {
    bool done = false;
    const char* error = "no usable answer";
    if (IsApiPath(uri))
        done =
            PassOn(device, device.Address().UrlOfPath(uri), request.empty() ? kGet : request, body);
    else if (uri == "manual-alarm")
        done = PassOn(device, ManualAlarmUrl(device.Address(), profile), ManualAlarmBody(request),
                      body);
    else if (uri == "device")
        done = DescribeDevice(device, body);
    else if (uri == "channels")
        done = DescribeChannels(device, profile, body);
    else if (uri == "ptz/position")
        done = DescribePosition(device, profile, request, body);
    else
        error = "unknown request";
    if (!done)
        body = RefusedTransmission(error);
    return done ? 0 : -1;
}

std::string RefusedTransmission(const char* error) {
    Json::Value root;
    root["error"] = error;
    return root.toStyledString();
}

}  // namespace vms::httpdevice
