#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "sim/httpdevice/server/Serve.h"

namespace vms::sim::httpdevice {

/// One port of a device. Works on its acceptor's strand.
class DeviceListener {
public:
    /// @param tls null = plain HTTP; must outlive the listener like `owner`
    /// @throws std::runtime_error when the port cannot be bound
    DeviceListener(boost::asio::io_context& context, const std::string& address, uint16_t port,
                   boost::asio::ssl::context* tls, ConnectionOwner& owner);

    uint16_t port() const { return endpoint_.port(); }

    /// Listens, or only keeps the port so that connections are refused, as the device's faults say.
    /// @return whether it came out so
    std::future<bool> Refresh();

private:
    using Socket = boost::asio::ip::tcp::socket;
    using Acceptor = boost::asio::ip::tcp::acceptor;

    Acceptor Bind(uint16_t port);
    bool Adjust();
    void Accept();
    void OnAccepted(Socket socket);
    void AcceptLater();
    bool Has(DeviceFault fault) const { return owner_.device.faults().Has(fault); }

    boost::asio::io_context& context_;
    boost::asio::ip::tcp::endpoint endpoint_;
    boost::asio::ssl::context* const tls_;
    ConnectionOwner& owner_;
    Acceptor acceptor_;
    boost::asio::steady_timer retry_;
    bool listening_ = false;
    std::vector<Socket> held_;  ///< accepted and left alone
};

}  // namespace vms::sim::httpdevice
