#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

#include "sim/httpdevice/api/ResultCode.h"
#include "sim/httpdevice/media/ConnectionLogic.h"

namespace vms::sim::httpdevice {

/// A request over WebSocket.
struct ActionRequest {
    std::string action;
    std::string token;  ///< of the session; "" = none named
    Json::Value data;
};

/// Texts that are no request have an empty action.
ActionRequest ReadAction(std::string_view text);

OutMessage ActionAnswer(const std::string& action, ResultCode code,
                        const Json::Value& data = Json::Value());
OutMessage EndMessage(ResultCode code, const char* reason);

/// After these the device hangs up.
bool EndsConnection(ResultCode code);

}  // namespace vms::sim::httpdevice
