#include "host/stream/PlayerSocket.h"

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket.hpp>

#include <utility>

#include "host/stream/PlayerStream.h"

namespace vms {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;

using Upgrade = http::request<http::string_body>;

/// Without a byte for half of this a player is pinged, then given up.
constexpr std::chrono::seconds kIdle(60);
constexpr std::chrono::seconds kHandshake(10);
/// A peer that does not answer our close within this is cut off.
constexpr std::chrono::milliseconds kCloseWait(500);
/// Talk audio stays below 4 MiB, and so do requests.
constexpr size_t kLongestMessage = (size_t{4} << 20) + 64;
/// A buffer that one long message has blown up is not kept.
constexpr size_t kKeptBuffer = size_t{64} << 10;
/// The kernel must not hide a stopped player behind megabytes of its own.
constexpr int kKernelBuffer = 256 << 10;

/// A player over WebSocket (RFC 6455), without compression: media does not compress. The library
/// does handshake, reading and control frames; media and texts go straight to the output.
class PlayerSocket final : public PlayerConnection {
public:
    PlayerSocket(asio::ip::tcp::socket socket, IoThread& io, PlayerContext& context)
        : PlayerConnection(io, context),
          stream_(std::move(socket), Output(),
                  [this](const PlayerOutput::Outcome& outcome) { Settle(outcome); }),
          closeWait_(stream_.get_executor()) {}

    void Start(const Upgrade& upgrade) {
        stream_.set_option(websocket::stream_base::timeout{kHandshake, kIdle, true});
        stream_.read_message_max(kLongestMessage);
        stream_.async_accept(upgrade,
                             [self = Self()](beast::error_code error) { self->OnAccept(error); });
    }

protected:
    void ReadOn() override {
        stream_.async_read(
            received_, [self = Self()](beast::error_code error, size_t) { self->OnRead(error); });
    }

    void FlushLater() override {
        Socket().async_wait(asio::ip::tcp::socket::wait_write,
                            [self = Self()](beast::error_code error) {
                                if (!error && self->Output().Flush())
                                    self->FlushLater();
                            });
    }

    void StartClose(const std::string& reason) override {
        if (std::exchange(closing_, true))
            return;
        Output().Finish();
        closeWait_.expires_after(kCloseWait);
        closeWait_.async_wait([self = Self()](beast::error_code error) {
            if (!error)
                self->CutOff("no answer to the close");
        });
        stream_.async_close({websocket::close_code::going_away, reason},
                            [self = Self(), reason](beast::error_code) { self->CutOff(reason); });
    }

private:
    std::shared_ptr<PlayerSocket> Self() {
        return std::static_pointer_cast<PlayerSocket>(shared_from_this());
    }

    asio::ip::tcp::socket& Socket() { return stream_.next_layer().Socket(); }

    void OnAccept(beast::error_code error) {
        if (error || !Announce())
            CutOff("no player");
        else
            ReadOn();
    }

    bool Announce() {
        beast::error_code error;
        Socket().set_option(asio::ip::tcp::no_delay(true), error);
        Socket().set_option(asio::socket_base::send_buffer_size(kKernelBuffer), error);
        const auto peer = Socket().remote_endpoint(error);
        return !error && Opened(peer.address().to_string(), peer.port());
    }

    void OnRead(beast::error_code error) {
        if (error) {
            const bool closed = error == websocket::error::closed;
            CutOff(closed ? std::string(stream_.reason().reason.c_str()) : error.message());
            return;
        }
        const bool readOn =
            Received(beast::buffers_to_string(received_.data()), stream_.got_text());
        if (received_.capacity() > kKeptBuffer)
            received_ = {};
        else
            received_.clear();
        if (readOn)
            ReadOn();
    }

    void CutOff(const std::string& reason) {
        closing_ = true;
        closeWait_.cancel();
        stream_.next_layer().Close();
        Gone(static_cast<int>(stream_.reason().code), reason);
    }

    websocket::stream<PlayerStream, false> stream_;
    asio::steady_timer closeWait_;
    beast::flat_buffer received_;
    bool closing_ = false;
};

}  // namespace

void StartPlayer(asio::ip::tcp::socket socket, const Upgrade& upgrade, IoThread& io,
                 PlayerContext& context) {
    std::make_shared<PlayerSocket>(std::move(socket), io, context)->Start(upgrade);
}

}  // namespace vms
