#pragma once

#include <boost/asio/ip/tcp.hpp>

#include "host/net/Wire.h"

namespace vms::host {

/// What wires over a connected TCP socket have in common. The kernel is kept from hiding a stopped
/// client behind megabytes of its own.
class SocketWire : public Wire {
public:
    void Break() noexcept override;
    boost::asio::io_context::executor_type get_executor() override;
    void WhenWritable(ReadyHandler handler) override;
    void EndSending() noexcept override;
    void Close() noexcept override;
    Peer RemoteEnd() const override;

protected:
    /// @throws boost::system::system_error
    explicit SocketWire(boost::asio::ip::tcp::socket socket);

    /// As Write has it: the bytes go to the kernel as they are.
    ssize_t SendParts(const iovec* parts, size_t count) const;

    int Descriptor() const { return descriptor_; }
    boost::asio::ip::tcp::socket& Socket() { return socket_; }

private:
    boost::asio::ip::tcp::socket socket_;
    const int descriptor_;
};

}  // namespace vms::host
