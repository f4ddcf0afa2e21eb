#include "host/net/PlainWire.h"

#include <utility>

#include "host/net/SocketWire.h"

namespace vms::host {
namespace {

class PlainWire final : public SocketWire {
public:
    explicit PlainWire(boost::asio::ip::tcp::socket socket) : SocketWire(std::move(socket)) {}

    ssize_t Write(const iovec* parts, size_t count) override { return SendParts(parts, count); }

    int PlainSocket() const override { return Descriptor(); }

    void ReadSome(boost::asio::mutable_buffer buffer, ReadHandler handler) override {
        Socket().async_read_some(buffer, std::move(handler));
    }
};

}  // namespace

std::unique_ptr<Wire> MakePlainWire(boost::asio::ip::tcp::socket socket) {
    return std::make_unique<PlainWire>(std::move(socket));
}

}  // namespace vms::host
