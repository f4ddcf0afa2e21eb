#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

#include "host/stream/PlayerConnection.h"

namespace vms {

/// Answers an upgrade request and goes on as a player; the connection keeps itself alive.
/// Called on the I/O thread that the socket belongs to.
void StartPlayer(boost::asio::ip::tcp::socket socket,
                 const boost::beast::http::request<boost::beast::http::string_body>& upgrade,
                 IoThread& io, PlayerContext& context);

}  // namespace vms
