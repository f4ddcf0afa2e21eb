#include "host/http/HttpExchange.h"

#include "host/http/HttpText.h"
#include "host/text/JsonText.h"

namespace vms::host {

std::string_view HttpRequest::Header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
        if (SameLetters(key, name))
            return value;
    }
    return {};
}

HttpResponse HttpFailure(int status, const std::string& error) {
    Json::Value body(Json::objectValue);
    body["error"] = error;
    return {status, "application/json", CompactJson(body) + "\n", {}};
}

}  // namespace vms::host
