#pragma once

#include <optional>
#include <string>
#include <utility>

#include <json/value.h>

#include "sim/httpdevice/Device.h"
#include "sim/httpdevice/api/Json.h"
#include "sim/httpdevice/api/ResultCode.h"

namespace vms::sim::httpdevice {

/// One request of a client, as far as an endpoint needs it.
struct ApiCall {
    std::string path;   ///< behind "/api/", without the query
    std::string query;  ///< behind the "?"
    std::string token;  ///< of the session; "" = none named
    Json::Value body;

    bool IsGet() const { return Text(body, "action") == "get"; }
    bool IsSet() const { return Text(body, "action") == "set"; }
    const Json::Value& data() const { return Member(body, "data"); }
};

struct ApiAnswer {
    ApiAnswer(ResultCode result) : code(result) {}            // NOLINT: a code alone is an answer
    ApiAnswer(Json::Value value) : data(std::move(value)) {}  // NOLINT: so is what it is about

    ResultCode code = ResultCode::kDone;
    Json::Value data;
};

/// The channel that the data names, 0 when it names none.
inline std::optional<int> ChannelOf(const Device& device, const ApiCall& call) {
    const auto channel = Number(call.data(), "channel", 0, device.config().channels - 1, 0);
    return channel ? std::optional<int>(static_cast<int>(*channel)) : std::nullopt;
}

using Endpoint = ApiAnswer (*)(Device& device, const ApiCall& call);

}  // namespace vms::sim::httpdevice
