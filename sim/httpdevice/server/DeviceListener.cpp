#include "sim/httpdevice/server/DeviceListener.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>

namespace vms::sim::httpdevice {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr int kBacklog = 1024;
constexpr int kSendBuffer = 256 * 1024;
constexpr size_t kMaxHeld = 1000;

}  // namespace

DeviceListener::DeviceListener(asio::io_context& context, const std::string& address, uint16_t port,
                               asio::ssl::context* tls, ConnectionOwner& owner)
    : context_(context),
      endpoint_(asio::ip::make_address(address), port),
      tls_(tls),
      owner_(owner),
      acceptor_(Bind(port)),
      retry_(acceptor_.get_executor()) {
    endpoint_.port(acceptor_.local_endpoint().port());
}

DeviceListener::Acceptor DeviceListener::Bind(uint16_t port) {
    try {
        endpoint_.port(port);
        Acceptor acceptor(asio::make_strand(context_), endpoint_.protocol());
        acceptor.set_option(Acceptor::reuse_address(port != 0));
        acceptor.bind(endpoint_);
        // Accepted sockets inherit it; without it they would keep the port from a second binding.
        acceptor.set_option(Acceptor::reuse_address(true));
        return acceptor;
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error("cannot bind " + endpoint_.address().to_string() + ':' +
                                 std::to_string(port) + ": " + error.code().message());
    }
}

std::future<bool> DeviceListener::Refresh() {
    auto done = std::make_shared<std::promise<bool>>();
    std::future<bool> future = done->get_future();
    asio::post(retry_.get_executor(), [this, done] { done->set_value(Adjust()); });
    return future;
}

bool DeviceListener::Adjust() {
    if (!Has(DeviceFault::kHalfOpen))
        held_.clear();
    const bool wanted = !Has(DeviceFault::kRefused);
    if (wanted == listening_)
        return true;
    Error error;
    if (wanted) {
        acceptor_.listen(kBacklog, error);
        listening_ = !error;
        if (listening_)
            Accept();
        return listening_;
    }
    // A bound socket that does not listen refuses, and nobody else can take the port.
    listening_ = false;
    acceptor_.close(error);
    acceptor_.open(endpoint_.protocol(), error);
    acceptor_.set_option(Acceptor::reuse_address(true), error);
    acceptor_.bind(endpoint_, error);
    return !error;
}

void DeviceListener::Accept() {
    acceptor_.async_accept(asio::make_strand(context_), [this](Error error, Socket socket) {
        if (error == asio::error::operation_aborted || !listening_)
            return;
        if (error)
            return AcceptLater();
        OnAccepted(std::move(socket));
        Accept();
    });
}

// Out of descriptors, most likely: accepting at once would only spin.
void DeviceListener::AcceptLater() {
    retry_.expires_after(std::chrono::milliseconds(100));
    retry_.async_wait([this](Error error) {
        if (!error && listening_)
            Accept();
    });
}

void DeviceListener::OnAccepted(Socket socket) {
    ++owner_.device.stats().connections().accepted;
    Error ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    // Big kernel buffers would hide a client that has stopped reading.
    socket.set_option(asio::socket_base::send_buffer_size(kSendBuffer), ignored);
    if (Has(DeviceFault::kHalfOpen)) {
        if (held_.size() < kMaxHeld)
            held_.push_back(std::move(socket));
        return;
    }
    if (tls_ != nullptr)
        ServeTls(std::move(socket), *tls_, owner_);
    else
        ServePlain(std::move(socket), owner_);
}

}  // namespace vms::sim::httpdevice
