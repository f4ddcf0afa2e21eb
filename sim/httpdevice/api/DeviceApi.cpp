#include "sim/httpdevice/api/DeviceApi.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "sim/httpdevice/api/Endpoints.h"
#include "sim/httpdevice/faults/AnswerFault.h"
#include "sim/process/JsonLine.h"

namespace vms::sim::httpdevice {

namespace {

enum class Kind { kAny, kCamera, kRecorder };
enum class Needs { kNothing, kSession, kSessionAndKey };

struct Route {
    const char* path;
    Kind kind;
    Needs needs;
    Endpoint endpoint;
};

constexpr Route kRoutes[] = {
    {"session/login-capabilities", Kind::kAny, Needs::kNothing, LoginCapabilities},
    {"session/login", Kind::kAny, Needs::kNothing, Login},
    {"session/logout", Kind::kAny, Needs::kSession, Logout},
    {"session/heart-beat", Kind::kAny, Needs::kSession, Heartbeat},
    {"security/capability", Kind::kAny, Needs::kSession, SecurityCapability},
    {"system/device-info", Kind::kAny, Needs::kSessionAndKey, DeviceInfo},
    {"system/platform-capabilities", Kind::kAny, Needs::kSessionAndKey, PlatformCapabilities},
    {"system/capabilities", Kind::kAny, Needs::kSessionAndKey, CapabilitiesV1},
    {"system/capability", Kind::kAny, Needs::kSessionAndKey, CapabilitiesV6},
    {"system/system-time", Kind::kAny, Needs::kSessionAndKey, SystemTime},
    {"system/user-manager", Kind::kAny, Needs::kSessionAndKey, UserManager},
    {"image/osd", Kind::kAny, Needs::kSessionAndKey, Osd},
    {"record/record-encode-info", Kind::kAny, Needs::kSessionAndKey, RecordEncode},
    {"record/record-list", Kind::kAny, Needs::kSessionAndKey, RecordList},
    {"video/video-encode", Kind::kAny, Needs::kSessionAndKey, VideoEncode},
    {"image/ptz-ctrl", Kind::kCamera, Needs::kSessionAndKey, PtzControl},
    {"image/zoom-focus", Kind::kCamera, Needs::kSessionAndKey, ZoomFocus},
    {"image/ptz-cruise", Kind::kCamera, Needs::kSessionAndKey, PtzCruiseTours},
    {"event/manual-alarm", Kind::kCamera, Needs::kSessionAndKey, ManualAlarm},
    {"channel/ptz-control", Kind::kRecorder, Needs::kSessionAndKey, PtzControl},
    {"channel/ptz-cruise", Kind::kRecorder, Needs::kSessionAndKey, PtzCruiseTours},
    {"channel/manual-alarm", Kind::kRecorder, Needs::kSessionAndKey, ManualAlarm},
};

const Route* FindRoute(const std::string& path) {
    const auto* found = std::find_if(std::begin(kRoutes), std::end(kRoutes),
                                     [&](const Route& route) { return path == route.path; });
    return found == std::end(kRoutes) ? nullptr : found;
}

// The first value that names a session that holds, else the first named at all.
std::string PickToken(Device& device, const std::vector<std::string>& values) {
    std::string first;
    for (const std::string& value : values) {
        const std::string token = TokenOf(value);
        if (device.sessions().Check(Clock::now(), token, false) == ResultCode::kDone)
            return token;
        if (first.empty())
            first = token;
    }
    return first;
}

// Several cookies may come in one field.
std::vector<std::string> CookieValues(const std::string& field) {
    std::vector<std::string> values;
    for (size_t at = 0; at < field.size();) {
        const size_t end = std::min(field.size(), field.find(';', at));
        const size_t start = std::min(end, field.find_first_not_of(' ', at));
        values.push_back(field.substr(start, end - start));
        at = end + 1;
    }
    return values;
}

std::string SessionOf(Device& device, const DeviceRequest& request, const ApiCall& call) {
    std::vector<std::string> values = CookieValues(request.cookie);
    values.push_back(request.apiSession);
    if (call.path == "session/heart-beat" || call.path == "session/logout") {
        values.push_back(Text(call.data(), "cookie"));
        values.push_back(Text(call.data(), "Api-Session"));
    }
    std::erase(values, "");
    return PickToken(device, values);
}

ResultCode MayCall(Device& device, const Route& route, const ApiCall& call) {
    if (route.needs == Needs::kNothing)
        return ResultCode::kDone;
    const ResultCode code = device.Admit(call.token, true);
    return code == ResultCode::kKeyOwed && route.needs == Needs::kSession ? ResultCode::kDone
                                                                          : code;
}

bool IsForOther(const Device& device, const Route& route) {
    return route.kind != Kind::kAny && (route.kind == Kind::kRecorder) != device.config().recorder;
}

ApiAnswer Call(Device& device, const Route& route, const DeviceRequest& request, ApiCall& call) {
    const auto body = ParseJson(request.body);
    if (body)
        call.body = *body;
    call.token = SessionOf(device, request, call);
    const std::string endpoint = LastPart(call.path);
    if (route.needs != Needs::kNothing &&
        device.faults().Has(DeviceFault::kSessionExpired, endpoint))
        return ResultCode::kSessionExpired;
    if (const ResultCode code = MayCall(device, route, call); code != ResultCode::kDone)
        return code;
    if (IsForOther(device, route))
        return ResultCode::kNotSupported;
    const bool named = route.endpoint == DeviceInfo && call.body.isArray();
    if (!call.body.isObject() && !named)
        return ResultCode::kBadBody;
    return route.endpoint(device, call);
}

HttpAnswer Plain(int status) {
    HttpAnswer answer;
    answer.status = status;
    answer.contentType = "text/plain";
    return answer;
}

}  // namespace

std::string Envelope(const ApiAnswer& answer) {
    Json::Value out(Json::objectValue);
    out["code"] = static_cast<int>(answer.code);
    if (!answer.data.isNull())
        out["data"] = answer.data;
    return JsonLine(out);
}

WireAnswer Handle(Device& device, const DeviceRequest& request) {
    constexpr std::string_view kPrefix = "/api/";
    const size_t mark = std::min(request.target.size(), request.target.find('?'));
    ApiCall call;
    if (request.target.starts_with(kPrefix))
        call.path = request.target.substr(kPrefix.size(), mark - kPrefix.size());
    if (mark < request.target.size())
        call.query = request.target.substr(mark + 1);
    const Route* route = FindRoute(call.path);
    if (route == nullptr)
        return WriteWire(Plain(404), request.keepAlive);
    device.stats().Count(call.path);
    if (request.method != "POST")
        return WriteWire(Plain(405), request.keepAlive);
    const ApiAnswer answer = Call(device, *route, request, call);
    if (answer.code != ResultCode::kDone)
        device.stats().Count("code:" + std::to_string(static_cast<int>(answer.code)));
    return ApplyFaults(device.faults(), LastPart(call.path), answer, request.keepAlive);
}

}  // namespace vms::sim::httpdevice
