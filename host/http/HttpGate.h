#pragma once

#include <functional>

#include "host/http/HttpExchange.h"

namespace vms::host {

/// Decides who may ask: is shown a request's head before anything of its body is kept, and calls
/// `done` once, there or later from any thread, with 0 = welcome or the status to refuse with: 401
/// or 403. On an I/O thread: must not wait; the request is valid during the call only.
using HttpGate = std::function<void(const HttpRequest& head, std::function<void(int)> done)>;

}  // namespace vms::host
