#include "host/net/PlainWire.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace vms::host {
namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr int kKernelBuffer = 256 << 10;

class PlainWire final : public Wire {
public:
    explicit PlainWire(tcp::socket socket)
        : socket_(std::move(socket)), descriptor_(socket_.native_handle()) {
        error_code ignored;
        socket_.non_blocking(true);
        socket_.set_option(tcp::no_delay(true), ignored);
        socket_.set_option(boost::asio::socket_base::send_buffer_size(kKernelBuffer), ignored);
    }

    ssize_t Write(const iovec* parts, size_t count) override {
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

    int PlainSocket() const override { return descriptor_; }

    void Break() noexcept override { shutdown(descriptor_, SHUT_RDWR); }

    boost::asio::io_context::executor_type get_executor() override {
        return static_cast<boost::asio::io_context&>(socket_.get_executor().context())
            .get_executor();
    }

    void ReadSome(boost::asio::mutable_buffer buffer, ReadHandler handler) override {
        socket_.async_read_some(buffer, std::move(handler));
    }

    void WhenWritable(ReadyHandler handler) override {
        socket_.async_wait(tcp::socket::wait_write, std::move(handler));
    }

    void EndSending() noexcept override {
        error_code ignored;
        socket_.shutdown(tcp::socket::shutdown_send, ignored);
    }

    void Close() noexcept override {
        error_code ignored;
        socket_.close(ignored);
    }

    Peer RemoteEnd() const override {
        error_code error;
        const tcp::endpoint end = socket_.remote_endpoint(error);
        return error ? Peer{} : Peer{end.address().to_string(), end.port()};
    }

private:
    tcp::socket socket_;
    const int descriptor_;
};

}  // namespace

std::unique_ptr<Wire> MakePlainWire(tcp::socket socket) {
    return std::make_unique<PlainWire>(std::move(socket));
}

}  // namespace vms::host
