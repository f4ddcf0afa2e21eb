#include "host/stream/PlayerSocket.h"

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/websocket.hpp>

#include <utility>

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

/// A player over WebSocket (RFC 6455), without compression: media does not compress.
class PlayerSocket final : public PlayerConnection {
public:
    PlayerSocket(asio::ip::tcp::socket socket, IoThread& io, PlayerContext& context)
        : PlayerConnection(io, context),
          stream_(std::move(socket)),
          closeWait_(stream_.get_executor()) {}

    void Start(const Upgrade& upgrade) {
        websocket::stream_base::timeout timeouts{kHandshake, kIdle, true};
        stream_.set_option(timeouts);
        stream_.read_message_max(kLongestMessage);
        stream_.auto_fragment(false);
        stream_.async_accept(upgrade,
                             [self = Self()](beast::error_code error) { self->OnAccept(error); });
    }

    void OnWake() override { WriteNext(); }

protected:
    void ReadOn() override {
        stream_.async_read(
            received_, [self = Self()](beast::error_code error, size_t) { self->OnRead(error); });
    }

    void StartClose(const std::string& reason) override {
        if (std::exchange(closing_, true))
            return;
        Queue().Close();
        closeWait_.expires_after(kCloseWait);
        closeWait_.async_wait([self = Self()](beast::error_code error) {
            if (!error)
                self->CutOff(kNoAnswer);
        });
        stream_.async_close({websocket::close_code::going_away, reason},
                            [self = Self(), reason](beast::error_code) { self->CutOff(reason); });
    }

private:
    static constexpr char kNoAnswer[] = "no answer to close";

    std::shared_ptr<PlayerSocket> Self() {
        return std::static_pointer_cast<PlayerSocket>(shared_from_this());
    }

    void OnAccept(beast::error_code error) {
        if (error || !Announce())
            return;
        ReadOn();
    }

    bool Announce() {
        beast::error_code error;
        asio::ip::tcp::socket& socket = stream_.next_layer();
        socket.set_option(asio::ip::tcp::no_delay(true), error);
        socket.set_option(asio::socket_base::send_buffer_size(kKernelBuffer), error);
        const auto peer = socket.remote_endpoint(error);
        return !error && Opened(peer.address().to_string(), peer.port());
    }

    void OnRead(beast::error_code error) {
        if (error) {
            CutOff(error == websocket::error::closed ? std::string(stream_.reason().reason.c_str())
                                                     : error.message());
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

    void WriteNext() {
        if (closing_)
            return;
        auto message = Queue().Take();
        if (!message)
            return;
        writing_ = std::move(message->bytes);
        stream_.text(message->text);
        stream_.async_write(
            asio::buffer(*writing_),
            [self = Self()](beast::error_code error, size_t) { self->OnWritten(error); });
    }

    void OnWritten(beast::error_code error) {
        writing_.reset();
        if (error)
            CutOff(error.message());
        else
            WriteNext();
    }

    void CutOff(const std::string& reason) {
        closing_ = true;
        closeWait_.cancel();
        beast::error_code ignored;
        stream_.next_layer().close(ignored);
        Gone(static_cast<int>(stream_.reason().code), reason);
    }

    websocket::stream<asio::ip::tcp::socket, false> stream_;
    asio::steady_timer closeWait_;
    beast::flat_buffer received_;
    Payload writing_;  ///< alive until written
    bool closing_ = false;
};

}  // namespace

void StartPlayer(asio::ip::tcp::socket socket, const Upgrade& upgrade, IoThread& io,
                 PlayerContext& context) {
    std::make_shared<PlayerSocket>(std::move(socket), io, context)->Start(upgrade);
}

}  // namespace vms
