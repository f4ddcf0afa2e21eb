#pragma once

#include <boost/asio/post.hpp>

#include "platform/websocket/BeastConnection.h"

namespace vms {
namespace detail {

/// For operations to come back after they have been cut off.
inline constexpr std::chrono::milliseconds kHaltTime{100};

template <class Stream>
auto MakeStream(const Executor& executor, const std::shared_ptr<asio::ssl::context>& tls) {
    if constexpr (std::is_same_v<Stream, TlsStream>)
        return websocket::stream<Stream, false>(executor, *tls);
    else
        return websocket::stream<Stream, false>(executor);
}

}  // namespace detail

template <class Stream>
BeastConnection<Stream>::BeastConnection(IoThreads& io, ConnectionRequest request,
                                         const WebSocketSettings& settings,
                                         std::shared_ptr<ConnectionSink> sink,
                                         std::shared_ptr<TlsContext> tls)
    : io_(io),
      request_(std::move(request)),
      settings_(settings),
      sink_(std::move(sink)),
      tls_(std::move(tls)),
      executor_(io.Next().get_executor()),
      queue_(settings.maxQueuedBytes),
      ws_(detail::MakeStream<Stream>(executor_, tls_)),
      timer_(executor_),
      keepAlive_(settings.pingAfter, settings.pongTimeout) {}

template <class Stream>
BeastConnection<Stream>::~BeastConnection() {
    if (phase_ != Phase::kEnded)
        sink_->Dropped();
}

template <class Stream>
void BeastConnection<Stream>::Start() {
    asio::post(executor_, Bind(&BeastConnection::Begin));
}

template <class Stream>
bool BeastConnection<Stream>::Send(std::string_view bytes, bool text) {
    if (!open_)
        return false;
    const OutgoingFrames::Push result = queue_.Add(bytes, text);
    if (result == OutgoingFrames::Push::kWakeWriter)
        asio::post(executor_, Bind(&BeastConnection::WriteNext));
    return result != OutgoingFrames::Push::kFull;
}

template <class Stream>
void BeastConnection<Stream>::Close() {
    open_ = false;
    asio::post(executor_, Bind(&BeastConnection::BeginClose));
}

template <class Stream>
void BeastConnection<Stream>::BeginClose() {
    if (phase_ == Phase::kIdle || phase_ == Phase::kConnecting)
        return End(kEndedStopped, "stopped");
    if (phase_ != Phase::kOpen)
        return;
    phase_ = Phase::kClosing;
    ArmTimer(settings_.closeTimeout);
    if (queue_.WriterRests())
        SendClose();
}

template <class Stream>
void BeastConnection<Stream>::SendClose() {
    if (!ws_.is_open())
        return;  // the peer was first; reading ends with its close
    ws_.async_close(websocket::close_code::normal,
                    [self = this->shared_from_this()](Code error) { self->EndRead(error); });
}

/// Reports the end once; operations under way come back later and find nothing to do.
template <class Stream>
void BeastConnection<Stream>::End(int code, const char* message) {
    if (phase_ == Phase::kEnded)
        return;
    phase_ = Phase::kEnded;
    open_ = false;
    *lookUpWanted_ = false;
    timer_.cancel();
    Code ignored;
    LowestLayer().close(ignored);
    LowestLayer().onTeardown = nullptr;
    sink_->Ended(code, message);
}

template <class Stream>
void BeastConnection<Stream>::ArmTimer(KeepAlive::Clock::duration delay) {
    timer_.expires_after(delay);
    timer_.async_wait([self = this->shared_from_this()](Code error) {
        // A wait that was replaced after it had run out comes back without error.
        if (!error && self->timer_.expiry() <= KeepAlive::Clock::now())
            self->OnTimer();
    });
}

template <class Stream>
void BeastConnection<Stream>::OnTimer() {
    if (phase_ == Phase::kConnecting)
        return End(kEndedTimedOut, "not connected in time");
    if (phase_ == Phase::kOpen && !tearingDown_)
        return OnKeepAliveTimer();
    if (halted_)
        return End(kEndedAbnormally, "no answer to the close");
    // Cut off instead of closed, so that what is under way still tells why it was closing.
    halted_ = true;
    Code ignored;
    LowestLayer().shutdown(Socket::shutdown_both, ignored);
    ArmTimer(detail::kHaltTime);
}

template <class Stream>
void BeastConnection<Stream>::OnKeepAliveTimer() {
    const KeepAlive::Step step = keepAlive_.Look(KeepAlive::Clock::now());
    if (step.action == KeepAlive::Action::kGiveUp)
        return End(kEndedAbnormally, "no answer to a ping");
    if (step.action == KeepAlive::Action::kPing)
        Ping();
    ArmTimer(step.nextLook);
}

template <class Stream>
void BeastConnection<Stream>::OnTeardown() {
    tearingDown_ = true;
    if (phase_ == Phase::kOpen)
        ArmTimer(settings_.closeTimeout);
}

}  // namespace vms
