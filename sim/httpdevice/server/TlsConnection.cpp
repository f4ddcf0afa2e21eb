#include <boost/asio/ssl/context.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include "sim/httpdevice/server/HttpSession.h"

namespace vms::sim::httpdevice {

namespace {

using TlsStream = beast::ssl_stream<beast::tcp_stream>;
using TlsSession = HttpSession<TlsStream>;

constexpr std::chrono::seconds kHandshakeTime{10};

}  // namespace

void ServeTls(asio::ip::tcp::socket socket, asio::ssl::context& tls, ConnectionOwner& owner) {
    auto session =
        std::make_shared<TlsSession>(TlsStream(beast::tcp_stream(std::move(socket)), tls), owner);
    TlsStream& stream = session->stream();
    beast::get_lowest_layer(stream).expires_after(kHandshakeTime);
    stream.async_handshake(asio::ssl::stream_base::server, [session](Error error) {
        if (!error)
            session->Start();
    });
}

}  // namespace vms::sim::httpdevice
