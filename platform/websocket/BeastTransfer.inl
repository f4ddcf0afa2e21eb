#pragma once

#include <algorithm>

#include "platform/websocket/BeastConnection.h"

namespace vms {
namespace detail {

/// Room made for a message before more of it has arrived: a header alone, however large the size it
/// announces, buys no more than this, or as much again as has come.
inline constexpr std::size_t kReadStep = std::size_t{64} << 10;
inline constexpr std::size_t kFirstRead = 1024;

inline int CodeOf(const beast::error_code& error) {
    if (error == websocket::error::message_too_big || error == websocket::error::buffer_overflow)
        return kEndedTooBig;
    if (error == websocket::error::bad_frame_payload)
        return kEndedBadText;
    if (error == websocket::condition::protocol_violation)
        return kEndedProtocolError;
    return kEndedAbnormally;
}

}  // namespace detail

template <class Stream>
void BeastConnection<Stream>::Open() {
    const std::string protocol(attempt_->response[beast::http::field::sec_websocket_protocol]);
    attempt_.reset();
    phase_ = Phase::kOpen;
    open_ = true;
    keepAlive_.Heard(KeepAlive::Clock::now());
    LowestLayer().onTeardown = [this] { OnTeardown(); };
    ws_.control_callback([this](websocket::frame_type, beast::string_view) {
        keepAlive_.Heard(KeepAlive::Clock::now());
    });
    ArmTimer(settings_.pingAfter);
    sink_->Opened(protocol);
    ReadMore();
}

template <class Stream>
void BeastConnection<Stream>::ReadMore() {
    const std::size_t step = std::max(detail::kReadStep, filled_);
    const std::size_t wanted =
        std::clamp<std::size_t>(ws_.read_size_hint(detail::kFirstRead), 1, step);
    char* const memory = message_.Reserve(filled_ + wanted, filled_);
    ws_.async_read_some(
        asio::buffer(memory + filled_, message_.Capacity() - filled_),
        InMemory(readMemory_, [self = this->shared_from_this()](Code error, std::size_t size) {
            self->OnRead(error, size);
        }));
}

template <class Stream>
void BeastConnection<Stream>::OnRead(Code error, std::size_t size) {
    if (phase_ == Phase::kEnded)
        return;
    if (error)
        return EndRead(error);
    filled_ += size;
    keepAlive_.Heard(KeepAlive::Clock::now());
    if (ws_.is_message_done())
        DeliverMessage();
    try {
        ReadMore();
    } catch (const std::bad_alloc&) {
        End(kEndedTooBig, "no memory for a message");
    }
}

template <class Stream>
void BeastConnection<Stream>::DeliverMessage() {
    if (phase_ == Phase::kOpen)
        sink_->Received(message_.Data(), filled_);
    message_.EndUse(filled_);
    filled_ = 0;
}

/// The reader or the closer has come to its end; the peer's close says more than the error does.
template <class Stream>
void BeastConnection<Stream>::EndRead(Code error) {
    const websocket::close_reason& reason = ws_.reason();
    if (reason)
        return End(reason.code, reason.reason.c_str());
    if (error == websocket::error::closed)
        return End(kEndedNoCode, "closed by the device");
    if (!error)
        return End(kEndedNormally, "");
    if (phase_ == Phase::kClosing && error == asio::error::operation_aborted)
        return;  // the closer or the timer tells more
    End(detail::CodeOf(error), error.message().c_str());
}

template <class Stream>
void BeastConnection<Stream>::WriteNext() {
    if (phase_ == Phase::kEnded)
        return;
    if (!queue_.Take(writing_)) {
        if (phase_ == Phase::kClosing)
            SendClose();
        return;
    }
    ws_.text(writing_.text);
    ws_.async_write(asio::buffer(writing_.bytes),
                    [self = this->shared_from_this()](Code error, std::size_t) {
                        if (!error)
                            self->WriteNext();
                    });
}

template <class Stream>
void BeastConnection<Stream>::Ping() {
    if (!ws_.is_open() || std::exchange(pinging_, true))
        return;
    ws_.async_ping({}, [self = this->shared_from_this()](Code) { self->pinging_ = false; });
}

}  // namespace vms
