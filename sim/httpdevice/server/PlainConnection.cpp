#include <boost/beast/core/tcp_stream.hpp>

#include "sim/httpdevice/server/HttpSession.h"

namespace vms::sim::httpdevice {

void ServePlain(asio::ip::tcp::socket socket, ConnectionOwner& owner) {
    std::make_shared<HttpSession<beast::tcp_stream>>(beast::tcp_stream(std::move(socket)), owner)
        ->Start();
}

}  // namespace vms::sim::httpdevice
