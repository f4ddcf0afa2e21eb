#pragma once

// For PlainConnection.cpp and TlsConnection.cpp alone: every file that includes this compiles the
// whole HTTP and WebSocket machinery.

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/stream_traits.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>

#include "sim/httpdevice/api/DeviceApi.h"
#include "sim/httpdevice/faults/AnswerFault.h"
#include "sim/httpdevice/server/Serve.h"
#include "sim/httpdevice/server/WebSocketSession.h"

namespace vms::sim::httpdevice {

/// Serves HTTP requests on one stream, plain or TLS, and hands it on when it becomes a WebSocket.
template <class Stream>
class HttpSession : public Droppable, public std::enable_shared_from_this<HttpSession<Stream>> {
public:
    HttpSession(Stream stream, ConnectionOwner& owner)
        : stream_(std::move(stream)), timer_(stream_.get_executor()), owner_(owner) {
        ++counters().open;
    }
    ~HttpSession() override {
        owner_.connections.Remove(this);
        --counters().open;
    }
    HttpSession(const HttpSession&) = delete;
    HttpSession& operator=(const HttpSession&) = delete;

    void Start() {
        owner_.connections.Add(this->shared_from_this());
        Read();
    }

    void Drop() override {
        asio::post(stream_.get_executor(), [self = this->shared_from_this()] {
            beast::get_lowest_layer(self->stream_).close();
            self->timer_.cancel();
        });
    }

    Stream& stream() { return stream_; }

private:
    static constexpr uint32_t kMaxHead = 16 * 1024;
    static constexpr uint64_t kMaxBody = 1024 * 1024;
    static constexpr std::chrono::seconds kIdleTimeout{60};
    static constexpr std::chrono::minutes kHoldTimeout{10};

    ConnectionCounters& counters() { return owner_.device.stats().connections(); }
    void Expire(std::chrono::seconds time) { beast::get_lowest_layer(stream_).expires_after(time); }

    void Read() {
        parser_.emplace();
        parser_->header_limit(kMaxHead);
        parser_->body_limit(kMaxBody);
        Expire(kIdleTimeout);
        http::async_read(
            stream_, buffer_, *parser_,
            [self = this->shared_from_this()](Error error, size_t) { self->OnRead(error); });
    }

    void OnRead(const Error& error) {
        if (error && error.category() != http::make_error_code(http::error{}).category())
            return;
        if (error == http::error::end_of_stream)
            return;
        if (error)
            return Answer({kBadRequest, "", {}, {}, WireAnswer::After::kClose});
        auto message = parser_->release();
        if (beast::websocket::is_upgrade(message))
            return Upgrade(std::move(message));
        Answer(Handle(owner_.device, ToRequest(message)));
    }

    static std::string ToString(beast::string_view text) { return {text.data(), text.size()}; }

    static DeviceRequest ToRequest(UpgradeRequest& message) {
        DeviceRequest request;
        request.method = ToString(message.method_string());
        request.target = ToString(message.target());
        request.cookie = ToString(message[http::field::cookie]);
        request.apiSession = ToString(message["Api-Session"]);
        request.keepAlive = message.keep_alive();
        request.body = std::move(message.body());
        return request;
    }

    void Upgrade(UpgradeRequest message) {
        if (owner_.device.faults().Has(DeviceFault::kWsSilent))
            return Answer({"", "", {}, {}, WireAnswer::After::kHold});
        if (owner_.device.faults().Has(DeviceFault::kWsRefused))
            return Answer({kForbidden, "", {}, {}, WireAnswer::After::kClose});
        const std::string target = ToString(message.target());
        auto logic = MakeLogic(owner_.device, target.substr(0, target.find('?')));
        if (!logic)
            return Answer({kNotFound, "", {}, {}, WireAnswer::After::kClose});
        beast::get_lowest_layer(stream_).expires_never();
        std::make_shared<WebSocketSession<Stream>>(std::move(stream_), std::move(logic), owner_)
            ->Accept(std::move(message));
    }

    void Answer(WireAnswer answer) {
        answer_ = std::move(answer);
        if (answer_.delay.count() == 0)
            return Send(0);
        beast::get_lowest_layer(stream_).expires_never();
        After(answer_.delay, [](HttpSession& self) { self.Send(0); });
    }

    // All at once, or a byte at each interval.
    void Send(size_t at) {
        const bool drip = answer_.byteInterval.count() > 0;
        if (at >= answer_.bytes.size())
            return Finish();
        const size_t count = drip ? 1 : answer_.bytes.size() - at;
        Expire(kIdleTimeout);
        asio::async_write(stream_, asio::buffer(&answer_.bytes[at], count),
                          [self = this->shared_from_this(), at, count, drip](Error error, size_t) {
                              if (error)
                                  return;
                              if (!drip)
                                  return self->Send(at + count);
                              self->After(self->answer_.byteInterval,
                                          [at](HttpSession& one) { one.Send(at + 1); });
                          });
    }

    void Finish() {
        if (answer_.after == WireAnswer::After::kKeepOpen)
            return Read();
        if (answer_.after == WireAnswer::After::kHold) {
            beast::get_lowest_layer(stream_).expires_after(kHoldTimeout);
            return ReadAway();
        }
        // What the peer still sends is read away: closing over it would reset the connection and
        // could cost the peer the end of the answer.
        Error ignored;
        beast::get_lowest_layer(stream_).socket().shutdown(asio::ip::tcp::socket::shutdown_send,
                                                           ignored);
        Expire(std::chrono::seconds(2));
        ReadAway();
    }

    void ReadAway() {
        stream_.async_read_some(asio::buffer(scratch_),
                                [self = this->shared_from_this()](Error error, size_t) {
                                    if (!error)
                                        self->ReadAway();
                                });
    }

    template <class Step>
    void After(std::chrono::milliseconds delay, Step step) {
        timer_.expires_after(delay);
        timer_.async_wait([self = this->shared_from_this(), step](Error error) {
            if (!error)
                step(*self);
        });
    }

    static constexpr const char* kBadRequest =
        "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    static constexpr const char* kForbidden =
        "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    static constexpr const char* kNotFound =
        "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";

    Stream stream_;
    asio::steady_timer timer_;
    beast::flat_buffer buffer_{kMaxHead + kMaxBody};
    std::optional<http::request_parser<http::string_body>> parser_;
    std::array<char, 512> scratch_{};
    WireAnswer answer_;
    ConnectionOwner& owner_;
};

}  // namespace vms::sim::httpdevice
