#pragma once

#include <string>

#include "host/http/HttpExchange.h"

namespace vms {

/// Splits a request target ("/api/x?token=a%20b") into path and query, percent-decoded
/// (RFC 3986, 2.1; "+" in a query is a blank).
/// @return false when it is no absolute path or holds a broken escape
bool ReadHttpTarget(const std::string& target, HttpRequest& request);

}  // namespace vms
