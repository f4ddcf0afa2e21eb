#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/http/HttpExchange.h"
#include "host/net/Connection.h"

namespace vms::host {

/// A client that has asked for another protocol and may have it: from here on it is in other hands.
struct HttpUpgrade {
    HttpRequest request;  ///< without a body
    std::string head;     ///< the header as it came, up to and including the blank line: for a
                          ///< library that wants to parse it itself
    std::string read;     ///< what has come after it
    /// Nothing waits on it, nobody reads from it, and its events are not set. It counts as one of
    /// the server's connections as long as it is shared.
    std::shared_ptr<Connection> connection;
};

/// Takes a client over; on the connection's I/O thread. An exception closes the connection.
using HttpUpgradeHook = std::function<void(HttpUpgrade)>;

}  // namespace vms::host
