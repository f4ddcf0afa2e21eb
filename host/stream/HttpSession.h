#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/thread_pool.hpp>

#include <atomic>

#include "host/http/HttpAccess.h"
#include "host/http/HttpExchange.h"
#include "host/stream/PlayerConnection.h"

namespace vms {

/// What all HTTP connections share; outlives them.
struct HttpContext {
    HttpHandler handler;
    HttpAccess access;
    boost::asio::thread_pool& workers;  ///< where the handler runs; may wait
    std::atomic<int> running{0};        ///< requests on the workers
    PlayerContext& players;
};

/// Serves a fresh connection: requests one after the other, or a player once it asks to upgrade.
/// Called on the I/O thread that the socket belongs to; the session keeps itself alive.
void StartHttpSession(boost::asio::ip::tcp::socket socket, IoThread& io, HttpContext& context);

}  // namespace vms
