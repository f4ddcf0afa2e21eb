#pragma once

#include <boost/asio/ip/tcp.hpp>

#include "sim/httpdevice/Device.h"
#include "sim/httpdevice/server/ConnectionSet.h"

namespace boost::asio::ssl {
class context;
}

namespace vms::sim::httpdevice {

/// What a connection belongs to; outlives it.
struct ConnectionOwner {
    Device& device;
    ConnectionSet connections;
};

// Serve HTTP and WebSocket on a socket whose executor is a strand; the connection owns itself.

void ServePlain(boost::asio::ip::tcp::socket socket, ConnectionOwner& owner);
void ServeTls(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context& tls,
              ConnectionOwner& owner);

}  // namespace vms::sim::httpdevice
