#pragma once

#include <string>
#include <string_view>

#include "host/http/HttpExchange.h"

namespace vms::host {

/// Splits a request target ("/api/x?token=a%20b", or "http://host:port/api/x") into path, segments,
/// query and, where it names one, host, percent-decoded (RFC 3986, 2.1; "+" in a query is a blank).
/// @return false when it is neither, or holds a broken escape, a NUL, a control character that is
/// not encoded, a fragment, or a segment "." or ".."
bool ReadHttpTarget(std::string_view target, HttpRequest& request);

/// Whether a text can be the host of a request: "name", "name:port", "[address]:port".
bool IsHttpHost(std::string_view host);

}  // namespace vms::host
