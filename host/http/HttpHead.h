#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/http/HttpExchange.h"

namespace vms::host {

/// How an answer's end is told.
struct HttpFraming {
    bool isOldClient = false;  ///< speaks HTTP/1.0
    bool keepsAlive = false;   ///< the connection stays open
    bool isChunked = false;
    std::optional<uint64_t> length{};  ///< bytes of the body
};

/// An answer's status line and headers, blank line included. Whatever a header's value holds, it
/// stays within its line.
std::string HttpHead(const HttpResponse& response, const HttpFraming& framing);

}  // namespace vms::host
