#include "sim/httpdevice/faults/AnswerFault.h"

#include <algorithm>

#include "sim/httpdevice/api/DeviceApi.h"

namespace vms::sim::httpdevice {

namespace {

using After = WireAnswer::After;

constexpr long long kMaxDepth = 10'000'000;
constexpr long long kMaxMebibytes = 256;
constexpr long long kMaxItems = 50'000'000;

Json::Value OtherType(const Json::Value& value);

Json::Value OtherMembers(const Json::Value& object) {
    Json::Value out(Json::objectValue);
    for (const std::string& name : object.getMemberNames())
        out[name] = OtherType(object[name]);
    return out;
}

// Texts for numbers and the other way round; a list loses its items' shape.
Json::Value OtherType(const Json::Value& value) {
    if (value.isObject())
        return OtherMembers(value);
    if (value.isString())
        return Json::Value(7);
    if (value.isArray())
        return Json::Value("list");
    return Json::Value(value.isBool() ? "yes" : value.asString());
}

std::string DeepBody(long long depth) {
    const auto levels = static_cast<size_t>(std::min(depth, kMaxDepth));
    return "{\"code\":0,\"data\":" + std::string(levels, '[') + std::string(levels, ']') + "}";
}

std::string HugeBody(long long mebibytes) {
    const auto size = static_cast<size_t>(std::min(mebibytes, kMaxMebibytes)) << 20;
    return "{\"code\":0,\"data\":{\"text\":\"" + std::string(size, 'x') + "\"}}";
}

// Where the list of a camera stands, or that of a recorder.
std::string ManyItems(long long count, bool isList) {
    std::string items;
    for (long long i = 0; i < std::min(count, kMaxItems); ++i)
        items += i == 0 ? "{}" : ",{}";
    return isList ? "{\"code\":0,\"data\":[" + items + "]}"
                  : "{\"code\":0,\"data\":{\"itemList\":[" + items + "]}}";
}

std::string Junk() {
    std::string junk;
    for (int i = 0; i < 300; ++i)
        junk += static_cast<char>(i * 37 + 128);
    return junk;
}

std::string BodyOf(const FaultBoard& faults, const std::string& endpoint, const ApiAnswer& answer) {
    using F = DeviceFault;
    if (faults.Has(F::kEmptyBody, endpoint))
        return "";
    if (faults.Has(F::kGarbage, endpoint))
        return Junk();
    if (const auto depth = faults.Find(F::kDeepJson, endpoint))
        return DeepBody(*depth);
    if (const auto size = faults.Find(F::kHugeBody, endpoint))
        return HugeBody(*size);
    if (const auto count = faults.Find(F::kManyItems, endpoint))
        return ManyItems(*count, answer.data.isArray());
    if (const auto code = faults.Find(F::kCode, endpoint))
        return Envelope(static_cast<ResultCode>(*code));
    if (faults.Has(F::kWrongTypes, endpoint)) {
        ApiAnswer other(OtherType(answer.data));
        other.code = answer.code;
        return Envelope(other);
    }
    const std::string body = Envelope(answer);
    return faults.Has(F::kTruncatedJson, endpoint) ? body.substr(0, body.size() / 2) : body;
}

std::chrono::milliseconds Time(std::optional<long long> value) {
    return std::chrono::milliseconds(std::min(value.value_or(0), 3'600'000LL));
}

HttpAnswer ErrorPage(long long status) {
    HttpAnswer answer;
    answer.status = static_cast<int>(std::clamp(status, 200LL, 599LL));
    answer.contentType = "text/html";
    answer.body = "<html><body><h1>Error " + std::to_string(answer.status) + "</h1></body></html>";
    return answer;
}

}  // namespace

std::string LastPart(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

WireAnswer WriteWire(const HttpAnswer& answer, bool keepAlive) {
    WireAnswer wire;
    wire.bytes = WriteAnswer(answer, HttpStyle{}, keepAlive);
    wire.after = keepAlive ? After::kKeepOpen : After::kClose;
    return wire;
}

WireAnswer ApplyFaults(const FaultBoard& faults, const std::string& endpoint,
                       const ApiAnswer& answer, bool keepAlive) {
    using F = DeviceFault;
    if (faults.Has(F::kSilent, endpoint))
        return {"", "", {}, {}, After::kHold};
    if (faults.Has(F::kDropBefore, endpoint))
        return {"", "", Time(faults.Find(F::kDelay, endpoint)), {}, After::kClose};
    HttpAnswer http;
    http.contentType = "application/json";
    http.body = BodyOf(faults, endpoint, answer);
    if (faults.Has(F::kHttp500, endpoint))
        http = ErrorPage(500);
    if (const auto status = faults.Find(F::kHttpStatus, endpoint))
        http = ErrorPage(*status);
    WireAnswer wire = WriteWire(http, keepAlive);
    if (faults.Has(F::kDropInside, endpoint)) {
        wire.bytes.resize(wire.bytes.size() -
                          std::min(wire.bytes.size(), http.body.size() / 2 + 1));
        wire.after = After::kClose;
    }
    wire.delay = Time(faults.Find(F::kDelay, endpoint));
    wire.byteInterval = Time(faults.Find(F::kSlow, endpoint));
    return wire;
}

}  // namespace vms::sim::httpdevice
