#include "host/net/Connection.h"

#include <boost/asio/post.hpp>

#include <utility>

namespace vms::host {

namespace asio = boost::asio;

Connection::Connection(std::unique_ptr<Wire> wire, IoThread& io, const SendLimits& limits)
    : io_(io), wire_(std::move(wire)), output_(*wire_, limits) {}

void Connection::BeginLive(const std::vector<Chunk>& prelude, bool holds) {
    output_.BeginLive(prelude, holds);
}

void Connection::FlushHere() {
    if (output_.IsDeferred() || output_.Flush())
        FlushSoon();
}

bool Connection::SendRaw(std::string_view bytes) {
    const Output::Outcome outcome = output_.SendRaw(bytes);
    Settle(outcome);
    return outcome.verdict == SendVerdict::kAccepted;
}

int Connection::ClaimFor(const Chunk& chunk) {
    const Output::Claim claim = output_.ClaimFor(chunk);
    if (claim.socket < 0)
        Settle(claim.outcome);
    return claim.socket;
}

bool Connection::Settle(const Output::Outcome& outcome) {
    if (outcome.flush)
        FlushSoon();
    if (outcome.verdict == SendVerdict::kTooSlow && !givenUp_.exchange(true))
        asio::post(io_.Context(), [self = shared_from_this()] {
            const auto givenUp = self->onGivenUp_;  // may close, which forgets it
            if (givenUp)
                givenUp();
        });
    return outcome.verdict != SendVerdict::kClosed && !givenUp_;
}

/// A socket that has been written to is full; one that is written to on its thread may have room.
void Connection::FlushSoon() {
    asio::post(io_.Context(), [self = shared_from_this()] {
        if (self->output_.IsDeferred())
            self->FlushOnIoThread();
        else
            self->FlushWhenWritable();
    });
}

void Connection::FlushOnIoThread() {
    if (output_.Flush()) {
        FlushWhenWritable();
        return;
    }
    const auto allSent = onAllSent_;
    if (allSent)
        allSent();
}

void Connection::FlushWhenWritable() {
    wire_->WhenWritable([self = shared_from_this()](boost::system::error_code error) {
        if (!error)
            self->FlushOnIoThread();
    });
}

void Connection::AskToEnd(const std::string& reason) {
    asio::post(io_.Context(), [self = shared_from_this(), reason] {
        const auto end = self->onEnd_;
        if (end)
            end(reason);
    });
}

void Connection::SetEvents(std::function<void()> givenUp, std::function<void()> allSent,
                           std::function<void(const std::string&)> end) {
    onGivenUp_ = std::move(givenUp);
    onAllSent_ = std::move(allSent);
    onEnd_ = std::move(end);
}

void Connection::Close() {
    output_.Close();
    wire_->Close();
    onGivenUp_ = nullptr;
    onAllSent_ = nullptr;
    onEnd_ = nullptr;
}

}  // namespace vms::host
