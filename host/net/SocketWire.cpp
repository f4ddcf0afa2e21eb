#include "host/net/SocketWire.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace vms::host {
namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr int kKernelBuffer = 256 << 10;

}  // namespace

SocketWire::SocketWire(tcp::socket socket)
    : socket_(std::move(socket)), descriptor_(socket_.native_handle()) {
    error_code ignored;
    socket_.non_blocking(true);
    socket_.set_option(tcp::no_delay(true), ignored);
    socket_.set_option(boost::asio::socket_base::send_buffer_size(kKernelBuffer), ignored);
}

ssize_t SocketWire::SendParts(const iovec* parts, size_t count) const {
    msghdr message{};
    message.msg_iov = const_cast<iovec*>(parts);
    message.msg_iovlen = count;
    ssize_t taken = 0;
    do {
        taken = sendmsg(descriptor_, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (taken < 0 && errno == EINTR);
    if (taken < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS))
        return 0;
    return taken;
}

void SocketWire::Break() noexcept {
    shutdown(descriptor_, SHUT_RDWR);
}

boost::asio::io_context::executor_type SocketWire::get_executor() {
    return static_cast<boost::asio::io_context&>(socket_.get_executor().context()).get_executor();
}

void SocketWire::WhenWritable(ReadyHandler handler) {
    socket_.async_wait(tcp::socket::wait_write, std::move(handler));
}

void SocketWire::EndSending() noexcept {
    error_code ignored;
    socket_.shutdown(tcp::socket::shutdown_send, ignored);
}

void SocketWire::Close() noexcept {
    error_code ignored;
    socket_.close(ignored);
}

Peer SocketWire::RemoteEnd() const {
    error_code error;
    const tcp::endpoint end = socket_.remote_endpoint(error);
    return error ? Peer{} : Peer{end.address().to_string(), end.port()};
}

}  // namespace vms::host
