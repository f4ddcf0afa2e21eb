#include "sim/net/HttpConnection.h"

#include <array>
#include <memory>
#include <optional>
#include <utility>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>

namespace vms::sim {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using Error = boost::system::error_code;

constexpr uint32_t kMaxHead = 16 * 1024;
constexpr uint64_t kMaxBody = 1024 * 1024;
constexpr std::chrono::seconds kIdleTimeout{60};
constexpr std::chrono::minutes kHoldTimeout{10};

const char kBadRequest[] =
    "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";

std::string ToString(beast::string_view text) {
    return {text.data(), text.size()};
}

class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
public:
    HttpConnection(asio::ip::tcp::socket socket, const HttpHandler& handler,
                   ConnectionCounters& counters)
        : stream_(std::move(socket)),
          timer_(stream_.get_executor()),
          handler_(handler),
          counters_(counters) {
        ++counters_.open;
    }
    ~HttpConnection() { --counters_.open; }
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    void Read() {
        parser_.emplace();
        parser_->header_limit(kMaxHead);
        parser_->body_limit(kMaxBody);
        stream_.expires_after(kIdleTimeout);
        http::async_read(stream_, buffer_, *parser_,
                         [self = shared_from_this()](Error error, size_t) { self->OnRead(error); });
    }

private:
    void OnRead(const Error& error) {
        if (error && error.category() != http::make_error_code(http::error{}).category())
            return;
        if (error == http::error::end_of_stream)
            return;
        answer_ = error ? WireAnswer{kBadRequest, "", {}, {}, WireAnswer::After::kClose}
                        : handler_(TakeRequest());
        if (answer_.delay.count() == 0)
            return Send();
        After(answer_.delay, &HttpConnection::Send);
    }

    HttpRequest TakeRequest() {
        auto message = parser_->release();
        HttpRequest request;
        request.method = ToString(message.method_string());
        request.target = ToString(message.target());
        request.contentType = ToString(message[http::field::content_type]);
        request.keepAlive = message.keep_alive();
        request.body = std::move(message.body());
        Error error;
        const auto local = stream_.socket().local_endpoint(error);
        request.localAddress = local.address().to_string();
        request.localPort = local.port();
        return request;
    }

    void Send() {
        if (answer_.byteInterval.count() > 0)
            return SendByte(0);
        stream_.expires_after(kIdleTimeout);
        asio::async_write(stream_, asio::buffer(answer_.bytes),
                          [self = shared_from_this()](Error error, size_t) {
                              if (!error)
                                  self->SendTail();
                          });
    }

    void SendByte(size_t at) {
        if (at >= answer_.bytes.size())
            return SendTail();
        stream_.expires_after(kIdleTimeout);
        asio::async_write(stream_, asio::buffer(&answer_.bytes[at], 1),
                          [self = shared_from_this(), at](Error error, size_t) {
                              if (!error)
                                  self->SendNextByteLater(at + 1);
                          });
    }

    void SendNextByteLater(size_t at) {
        timer_.expires_after(answer_.byteInterval);
        timer_.async_wait([self = shared_from_this(), at](Error error) {
            if (!error)
                self->SendByte(at);
        });
    }

    void SendTail() {
        if (answer_.endlessTail.empty())
            return Finish();
        stream_.expires_after(kIdleTimeout);
        asio::async_write(stream_, asio::buffer(answer_.endlessTail),
                          [self = shared_from_this()](Error error, size_t) {
                              if (!error)
                                  self->SendTail();
                          });
    }

    void Finish() {
        switch (answer_.after) {
            case WireAnswer::After::kKeepOpen:
                return Read();
            case WireAnswer::After::kHold:
                return Hold();
            case WireAnswer::After::kClose:
                break;
        }
        Error ignored;
        stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        // What the peer still sends is read away: closing over it would reset the connection and
        // could cost the peer the end of the answer.
        answer_.after = WireAnswer::After::kClose;
        stream_.expires_after(std::chrono::seconds(2));
        ReadAway();
    }

    void Hold() {
        stream_.expires_after(kHoldTimeout);
        ReadAway();
    }

    void ReadAway() {
        stream_.async_read_some(asio::buffer(scratch_),
                                [self = shared_from_this()](Error error, size_t) {
                                    if (!error)
                                        self->ReadAway();
                                });
    }

    void After(std::chrono::milliseconds delay, void (HttpConnection::*step)()) {
        stream_.expires_never();
        timer_.expires_after(delay);
        timer_.async_wait([self = shared_from_this(), step](Error error) {
            if (!error)
                (self.get()->*step)();
        });
    }

    beast::tcp_stream stream_;
    asio::steady_timer timer_;
    beast::flat_buffer buffer_{kMaxHead + kMaxBody};
    std::optional<http::request_parser<http::string_body>> parser_;
    std::array<char, 512> scratch_{};
    WireAnswer answer_;
    const HttpHandler& handler_;
    ConnectionCounters& counters_;
};

}  // namespace

void ServeHttpConnection(asio::ip::tcp::socket socket, const HttpHandler& handler,
                         ConnectionCounters& counters) {
    Error ignored;
    socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    std::make_shared<HttpConnection>(std::move(socket), handler, counters)->Read();
}

}  // namespace vms::sim
