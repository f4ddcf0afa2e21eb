#pragma once

#include <boost/asio/ip/tcp.hpp>

#include "sim/net/ConnectionCounters.h"
#include "sim/net/HttpMessage.h"

namespace vms::sim {

/// Serves requests on `socket` until it closes; owns itself. The socket's executor is a strand.
void ServeHttpConnection(boost::asio::ip::tcp::socket socket, const HttpHandler& handler,
                         ConnectionCounters& counters);

}  // namespace vms::sim
