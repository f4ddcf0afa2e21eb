#include "host/players/rtsp/UdpPair.h"

#include <utility>

namespace vms::host {
namespace {

namespace asio = boost::asio;
using asio::ip::udp;
using boost::system::error_code;

constexpr int kTries = 32;
constexpr int kSendBuffer = 512 << 10;
constexpr int kReceiveBuffer = 16 << 10;  ///< reports are small, and media is not received

bool BindTo(UdpPair::Socket& socket, const udp& protocol, int port) {
    error_code error;
    if (socket.is_open())
        socket.close(error);
    socket.open(protocol, error);
    if (!error)
        socket.bind({protocol, static_cast<uint16_t>(port)}, error);
    return !error;
}

int PortOf(const UdpPair::Socket& socket) {
    error_code error;
    const auto end = socket.local_endpoint(error);
    return error ? 0 : end.port();
}

bool Connect(UdpPair::Socket& socket, const asio::ip::address& address, int port) {
    error_code error;
    socket.non_blocking(true, error);
    error_code ignored;
    socket.set_option(asio::socket_base::send_buffer_size(kSendBuffer), ignored);
    socket.set_option(asio::socket_base::receive_buffer_size(kReceiveBuffer), ignored);
    if (!error)
        socket.connect({address, static_cast<uint16_t>(port)}, error);
    return !error;
}

}  // namespace

std::unique_ptr<UdpPair> UdpPair::Open(asio::io_context& context, const std::string& peer,
                                       const RtspTransport& transport) {
    error_code error;
    const asio::ip::address address = asio::ip::make_address(peer, error);
    if (error)
        return nullptr;
    std::unique_ptr<UdpPair> pair(new UdpPair(context));
    const udp protocol = address.is_v6() ? udp::v6() : udp::v4();
    for (int i = 0; i < kTries; ++i) {
        if (!pair->Bind(protocol))
            continue;
        if (!Connect(pair->media_, address, transport.rtpPort) ||
            !Connect(pair->control_, address, transport.rtcpPort))
            return nullptr;
        return pair;
    }
    return nullptr;
}

/// Any free port, and its neighbour if that is free, too.
bool UdpPair::Bind(const udp& protocol) {
    if (!BindTo(media_, protocol, 0))
        return false;
    const int port = PortOf(media_);
    if (!BindTo(control_, protocol, port ^ 1))
        return false;
    if (port % 2 != 0)
        std::swap(media_, control_);
    port_ = port & ~1;
    return port_ != 0;
}

}  // namespace vms::host
