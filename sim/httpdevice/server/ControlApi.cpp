#include "sim/httpdevice/server/ControlApi.h"

#include <charconv>
#include <optional>
#include <stdexcept>

#include "sim/httpdevice/api/Json.h"
#include "sim/httpdevice/faults/AnswerFault.h"
#include "sim/process/JsonLine.h"

namespace vms::sim::httpdevice {

namespace {

std::string ErrorText(const std::string& text) {
    Json::Value out(Json::objectValue);
    out["error"] = text;
    return JsonLine(out);
}

std::optional<size_t> ReadIndex(const std::string& text, size_t count) {
    size_t index = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
    if (error != std::errc() || end != text.data() + text.size() || index >= count)
        return std::nullopt;
    return index;
}

// Reads a list of faults. @throws std::invalid_argument
std::vector<DeviceFaultRule> ReadRules(const Json::Value& list) {
    if (!list.isNull() && !list.isArray())
        throw std::invalid_argument("faults must be a list of texts");
    std::vector<DeviceFaultRule> rules;
    for (const Json::Value& item : list)
        rules.push_back(ParseDeviceFault(item.isString() ? item.asString() : "?"));
    return rules;
}

void Change(FaultBoard& board, const Json::Value& json) {
    const std::vector<DeviceFaultRule> added = ReadRules(Member(json, "set"));
    const bool all = Member(json, "clear") == "*";
    const std::vector<DeviceFaultRule> removed =
        all ? std::vector<DeviceFaultRule>() : ReadRules(Member(json, "clear"));
    if (all)
        board.Clear();
    for (const DeviceFaultRule& rule : removed)
        board.Remove(rule);
    for (const DeviceFaultRule& rule : added)
        board.Add(rule);
}

}  // namespace

ControlApi::Result ControlApi::ChangeFaults(size_t index, const std::string& body) {
    FaultBoard& board = table_.entries[index].device->faults();
    const auto json = ParseJson(body);
    if (!json || !json->isObject())
        return {400, ErrorText("the body must be {\"set\": [...], \"clear\": [...] or \"*\"}")};
    try {
        Change(board, *json);
    } catch (const std::invalid_argument& error) {
        return {400, ErrorText(error.what())};
    }
    if (!server_.Refresh(index))
        return {500, ErrorText("the listeners did not follow")};
    Json::Value out(Json::arrayValue);
    for (const std::string& fault : board.Describe())
        out.append(fault);
    return {200, JsonLine(out)};
}

ControlApi::Result ControlApi::TalkPayload(Device& device, const std::string& channel) {
    const auto entries = device.talk().Entries();
    const auto number = ReadIndex(channel, static_cast<size_t>(device.config().channels));
    if (!number)
        return {404, ErrorText("no such channel")};
    const auto found = entries.find(static_cast<int>(*number));
    return {200, found == entries.end() ? "" : found->second.payload, "application/octet-stream"};
}

ControlApi::Result ControlApi::OnDevice(const HttpRequest& request, size_t index,
                                        const std::string& what) {
    Device& device = *table_.entries[index].device;
    constexpr std::string_view kTalk = "talk/";
    if (request.method == "GET") {
        if (what == "state")
            return {200, JsonLine(device.State())};
        if (what.starts_with(kTalk))
            return TalkPayload(device, what.substr(kTalk.size()));
        return {404, ErrorText("not known: " + what)};
    }
    if (what == "faults")
        return ChangeFaults(index, request.body);
    if (what == "drop")
        server_.DropConnections(index);
    else if (what == "expire")
        device.sessions().ExpireAll();
    else
        return {404, ErrorText("not known: " + what)};
    return {200, "{}"};
}

ControlApi::Result ControlApi::Route(const HttpRequest& request) {
    constexpr std::string_view kDevices = "/devices/";
    if (!request.target.starts_with(kDevices))
        return {404, ErrorText("paths begin with /devices/")};
    const size_t slash = request.target.find('/', kDevices.size());
    const auto index = ReadIndex(request.target.substr(kDevices.size(), slash - kDevices.size()),
                                 table_.entries.size());
    if (!index || slash == std::string::npos)
        return {404, ErrorText("no such device")};
    return OnDevice(request, *index, request.target.substr(slash + 1));
}

WireAnswer ControlApi::Handle(const HttpRequest& request) {
    Result result = Route(request);
    HttpAnswer answer;
    answer.status = result.status;
    answer.contentType = result.type;
    answer.body = std::move(result.body);
    return WriteWire(answer, request.keepAlive);
}

}  // namespace vms::sim::httpdevice
