#pragma once

// As HttpSession.h: for two source files alone.

#include <array>
#include <chrono>
#include <deque>
#include <memory>
#include <string_view>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "sim/httpdevice/media/ConnectionLogic.h"
#include "sim/httpdevice/server/Serve.h"

namespace vms::sim::httpdevice {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using Error = boost::system::error_code;
using UpgradeRequest = http::request<http::string_body>;

/// Carries messages between a WebSocket and the logic behind it. Lives as long as its timer runs,
/// that is until the socket closes.
template <class Stream>
class WebSocketSession : public Droppable,
                         public std::enable_shared_from_this<WebSocketSession<Stream>> {
public:
    WebSocketSession(Stream stream, std::unique_ptr<ConnectionLogic> logic, ConnectionOwner& owner)
        : socket_(std::move(stream)),
          timer_(socket_.get_executor()),
          logic_(std::move(logic)),
          owner_(owner) {
        ++owner_.device.stats().connections().open;
    }
    ~WebSocketSession() override {
        owner_.connections.Remove(this);
        --owner_.device.stats().connections().open;
    }
    WebSocketSession(const WebSocketSession&) = delete;
    WebSocketSession& operator=(const WebSocketSession&) = delete;

    void Accept(UpgradeRequest request) {
        owner_.connections.Add(this->shared_from_this());
        request_ = std::move(request);
        socket_.read_message_max(kMaxMessage);
        socket_.auto_fragment(false);
        socket_.set_option(beast::websocket::stream_base::decorator(
            [protocol = OfferedProtocol()](beast::websocket::response_type& response) {
                if (protocol)
                    response.set(http::field::sec_websocket_protocol, "websocket");
            }));
        socket_.control_callback(
            [this](beast::websocket::frame_type, beast::string_view) { heard_ = Clock::now(); });
        socket_.async_accept(request_, [self = this->shared_from_this()](Error error) {
            if (!error)
                self->Begin();
        });
    }

    void Drop() override {
        asio::post(socket_.get_executor(), [self = this->shared_from_this()] { self->Cut(); });
    }

private:
    static constexpr size_t kMaxMessage = 4 * 1024 * 1024;
    static constexpr std::chrono::seconds kPingAfter{20};
    static constexpr std::chrono::seconds kDeadAfter{40};
    static constexpr std::chrono::milliseconds kCloseTime{500};
    static constexpr std::chrono::milliseconds kStallCheck{250};
    static constexpr std::chrono::minutes kStallTime{10};

    bool OfferedProtocol() const {
        const auto offered = request_[http::field::sec_websocket_protocol];
        return offered.find("websocket") != beast::string_view::npos;
    }

    void Begin() {
        heard_ = Clock::now();
        Read();
        Tick();
    }

    void Read() {
        socket_.async_read(buffer_, [self = this->shared_from_this()](Error error, size_t) {
            self->OnRead(error);
        });
    }

    void OnRead(const Error& error) {
        if (stalled_)
            return;
        if (error)
            return Cut();
        heard_ = Clock::now();
        const std::string_view bytes(static_cast<const char*>(buffer_.data().data()),
                                     buffer_.size());
        Batch batch;
        if (socket_.got_text())
            logic_->OnText(heard_, bytes, batch);
        else
            logic_->OnBinary(heard_, bytes, batch);
        buffer_.consume(buffer_.size());
        const bool request = !batch.messages.empty();
        Take(std::move(batch));
        if (stalled_)
            return;
        if (request)
            timer_.cancel();  // what was asked for may be due at once
        Read();
    }

    void Tick() {
        if (cut_)
            return;
        const auto now = Clock::now();
        if (now >= deadline_)
            return Cut();
        if (end_ == Batch::End::kStay) {
            Batch batch;
            logic_->OnTick(now, queued_, batch);
            Take(std::move(batch));
            Watch(now);
        }
        if (!cut_)
            Arm(end_ == Batch::End::kStay ? logic_->NextTick(now) : now + kStallCheck);
    }

    void Arm(Clock::time_point when) {
        timer_.expires_at(when);
        timer_.async_wait([self = this->shared_from_this()](Error) { self->Tick(); });
    }

    // A peer that is gone without a word is found out by pings.
    void Watch(Clock::time_point now) {
        if (now - heard_ > kDeadAfter)
            return Cut();
        if (now - heard_ < kPingAfter || pinging_)
            return;
        pinging_ = true;
        socket_.async_ping({},
                           [self = this->shared_from_this()](Error) { self->pinging_ = false; });
    }

    void Take(Batch batch) {
        if (end_ != Batch::End::kStay)
            return;
        for (OutMessage& message : batch.messages) {
            queued_ += message.size();
            queue_.push_back(std::move(message));
        }
        raw_ = std::move(batch.raw);
        end_ = batch.end;
        if (end_ != Batch::End::kStay)
            deadline_ = Clock::now() + (end_ == Batch::End::kStall ? Clock::duration(kStallTime)
                                                                   : Clock::duration(kEndTime));
        if (!writing_)
            WriteNext();
    }

    void WriteNext() {
        if (cut_)
            return;
        writing_ = !queue_.empty();
        if (!writing_)
            return Finish();
        const OutMessage& message = queue_.front();
        socket_.text(message.text);
        const std::array<asio::const_buffer, 2> parts = {
            asio::buffer(message.head),
            message.payload ? asio::buffer(*message.payload) : asio::const_buffer()};
        socket_.async_write(parts, [self = this->shared_from_this()](Error error, size_t) {
            if (error)
                return self->Cut();
            self->queued_ -= self->queue_.front().size();
            self->queue_.pop_front();
            self->WriteNext();
        });
    }

    // All messages are out: carries out what was to follow them.
    void Finish() {
        switch (end_) {
            case Batch::End::kStay:
                return;
            case Batch::End::kAbort:
                return Cut();
            case Batch::End::kStall:
                return Stall();
            case Batch::End::kClose:
                break;
        }
        deadline_ = Clock::now() + kCloseTime;
        socket_.async_close(beast::websocket::close_code::normal,
                            [self = this->shared_from_this()](Error) { self->Cut(); });
    }

    void Stall() {
        stalled_ = true;
        if (raw_.empty())
            return StopReading();
        asio::async_write(
            socket_.next_layer(), asio::buffer(raw_),
            [self = this->shared_from_this()](Error, size_t) { self->StopReading(); });
    }

    void StopReading() { beast::get_lowest_layer(socket_).cancel(); }

    void Cut() {
        if (std::exchange(cut_, true))
            return;
        beast::get_lowest_layer(socket_).close();
        timer_.cancel();
    }

    static constexpr std::chrono::seconds kEndTime{10};

    beast::websocket::stream<Stream> socket_;
    asio::steady_timer timer_;
    const std::unique_ptr<ConnectionLogic> logic_;
    ConnectionOwner& owner_;
    UpgradeRequest request_;
    beast::flat_buffer buffer_;
    std::deque<OutMessage> queue_;
    size_t queued_ = 0;
    std::string raw_;
    Batch::End end_ = Batch::End::kStay;
    Clock::time_point heard_{};
    Clock::time_point deadline_ = Clock::time_point::max();
    bool writing_ = false;
    bool pinging_ = false;
    bool stalled_ = false;
    bool cut_ = false;
};

}  // namespace vms::sim::httpdevice
