#include "sim/httpdevice/media/ActionRequest.h"

#include "sim/httpdevice/api/Json.h"
#include "sim/process/JsonLine.h"

namespace vms::sim::httpdevice {

ActionRequest ReadAction(std::string_view text) {
    const auto json = ParseJson(text);
    if (!json)
        return {};
    ActionRequest request;
    request.action = Text(*json, "action");
    request.data = Member(*json, "data");
    request.token = TokenOf(Text(request.data, "sessionID"));
    return request;
}

OutMessage ActionAnswer(const std::string& action, ResultCode code, const Json::Value& data) {
    Json::Value out(Json::objectValue);
    out["action"] = action;
    out["code"] = static_cast<int>(code);
    if (!data.isNull())
        out["data"] = data;
    return OutMessage::Text(JsonLine(out));
}

OutMessage EndMessage(ResultCode code, const char* reason) {
    Json::Value data(Json::objectValue);
    data["reason"] = reason;
    return ActionAnswer("end", code, data);
}

bool EndsConnection(ResultCode code) {
    return code == ResultCode::kNoSession || code == ResultCode::kSessionExpired ||
           code == ResultCode::kKeyOwed;
}

}  // namespace vms::sim::httpdevice
