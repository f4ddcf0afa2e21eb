#include "host/http/HttpExchange.h"

#include "host/JsonText.h"

namespace vms {

HttpResponse HttpFailure(int status, const std::string& error) {
    Json::Value body(Json::objectValue);
    body["error"] = error;
    return {status, "application/json", CompactJson(body) + "\n", {}};
}

}  // namespace vms
