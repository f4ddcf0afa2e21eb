#pragma once

#include <boost/asio/ip/tcp.hpp>

#include <memory>

#include "host/net/Wire.h"

namespace vms::host {

/// A wire over a connected TCP socket. @throws boost::system::system_error
std::unique_ptr<Wire> MakePlainWire(boost::asio::ip::tcp::socket socket);

}  // namespace vms::host
