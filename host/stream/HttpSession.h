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
    static constexpr int kMostRunning = 64;  ///< requests on the workers

    HttpHandler handler;
    HttpAccess access;
    boost::asio::thread_pool& workers;  ///< where the handler serves POST requests; may wait long
    boost::asio::thread_pool& readers;  ///< where it serves all others, whatever the workers do
    PlayerContext& players;
    std::atomic<int> running{0};      ///< requests on the workers
    std::atomic<bool> ending{false};  ///< no request is taken any more
};

/// Serves a fresh connection: requests one after the other, or a player once it asks to upgrade.
/// Called on the I/O thread that the socket belongs to; the session keeps itself alive.
void StartHttpSession(boost::asio::ip::tcp::socket socket, IoThread& io, HttpContext& context);

}  // namespace vms
