#pragma once

#include <boost/asio/ip/tcp.hpp>

#include <memory>

#include "host/net/Wire.h"

namespace vms::host {

/// A wire over a connected TCP socket. The kernel is kept from hiding a stopped client behind
/// megabytes of its own. @throws boost::system::system_error
std::unique_ptr<Wire> MakePlainWire(boost::asio::ip::tcp::socket socket);

}  // namespace vms::host
