#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/websocket.hpp>
#include <functional>
#include <type_traits>
#include <utility>

namespace vms {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;

/// Of one thread, so that what runs there needs no lock.
using Executor = asio::io_context::executor_type;
using Timer = asio::basic_waitable_timer<std::chrono::steady_clock,
                                         asio::wait_traits<std::chrono::steady_clock>, Executor>;

/// The socket under a WebSocket. Tells when the WebSocket is done and waits for the peer to close,
/// for which the protocol engine has no deadline of its own.
class ClientSocket : public asio::basic_stream_socket<asio::ip::tcp, Executor> {
public:
    using Base = asio::basic_stream_socket<asio::ip::tcp, Executor>;
    using Base::Base;

    std::function<void()> onTeardown;
};

/// Waits for the peer to hang up, throwing away what it still sends; not for ever if it goes on.
template <class Handler>
class HangUpWait {
public:
    HangUpWait(ClientSocket& socket, Handler handler)
        : socket_(socket), handler_(std::move(handler)) {
        // Readiness may be an old one, of bytes that have been read since.
        beast::error_code ignored;
        socket_.non_blocking(true, ignored);
    }

    void Wait() { socket_.async_wait(ClientSocket::wait_read, std::move(*this)); }

    void operator()(beast::error_code error) {
        char thrownAway[4096];
        if (!error)
            socket_.read_some(asio::buffer(thrownAway), error);
        if ((!error || error == asio::error::would_block) && --patience_ > 0)
            return Wait();
        // Its hanging up is what was waited for, whichever way it does.
        if (error != asio::error::operation_aborted)
            error = {};
        handler_(error);
    }

private:
    ClientSocket& socket_;
    Handler handler_;
    int patience_ = 4096;
};

/// Found by the protocol engine for its stream.
template <class Handler>
void async_teardown(beast::role_type, ClientSocket& socket, Handler&& handler) {
    if (socket.onTeardown)
        socket.onTeardown();
    HangUpWait<std::decay_t<Handler>>(socket, std::forward<Handler>(handler)).Wait();
}

/// The close frames have said that nothing is missing; TLS need not say it again.
template <class Handler>
void async_teardown(beast::role_type role, asio::ssl::stream<ClientSocket>& stream,
                    Handler&& handler) {
    async_teardown(role, stream.next_layer(), std::forward<Handler>(handler));
}

using PlainStream = ClientSocket;
using TlsStream = asio::ssl::stream<ClientSocket>;

}  // namespace vms
