#pragma once

#include <functional>
#include <map>
#include <string>

#include "host/http/HttpExchange.h"

namespace vms::host {

/// What becomes of a request.
struct HttpAdmission {
    /// @param status 0 = welcome, else the status to refuse with: 401, 403 or 429
    HttpAdmission(int status = 0) : refusal(status) {}
    HttpAdmission(int status, std::string why) : refusal(status), text(std::move(why)) {}

    int refusal = 0;
    std::string text{};                            ///< why it is refused, "" = as the status says
    std::map<std::string, std::string> headers{};  ///< of the refusal
    Identity identity{};                           ///< who asks, when welcome
};

/// Decides who may ask: is shown a request's head before anything of its body is kept, and calls
/// `done` once, there or later from any thread. On an I/O thread: must not wait; the request is
/// valid during the call only.
using HttpGate =
    std::function<void(const HttpRequest& head, std::function<void(HttpAdmission)> done)>;

}  // namespace vms::host
