#include "host/net/Output.h"

#include <sys/uio.h>

#include <new>
#include <utility>

namespace vms::host {
namespace {

/// Hands a frame, from byte `sent` on, to the wire.
ssize_t Write(Wire& wire, const FramePrefix& prefix, std::string_view body, size_t sent) {
    iovec parts[2];
    size_t count = 0;
    if (sent < prefix.size) {
        parts[count++] = {const_cast<char*>(prefix.bytes.data()) + sent, prefix.size - sent};
        sent = prefix.size;
    }
    const size_t skipped = sent - prefix.size;
    parts[count++] = {const_cast<char*>(body.data()) + skipped, body.size() - skipped};
    return wire.Write(parts, count);
}

}  // namespace

bool Output::BeginLive(const std::vector<Chunk>& prelude, bool holds) {
    MutexLock lock(mutex_);
    if (finished_)
        return false;
    policy_.Begin(holds);
    hasLost_ = false;
    for (const Chunk& chunk : prelude)
        queue_.Push({chunk, SendQueue::Class::kPrelude});
    return !queue_.Empty();
}

Output::Outcome Output::SendLive(const Chunk& chunk) {
    MutexLock lock(mutex_);
    if (finished_)
        return {SendVerdict::kClosed};
    const SendVerdict verdict = AdmitLive(chunk.kind);
    if (verdict != SendVerdict::kAccepted)
        return Refuse(verdict);
    return TransmitLive(chunk);
}

Output::Outcome Output::TransmitLive(const Chunk& chunk) {
    Outcome outcome;
    if (std::exchange(hasLost_, false) && !chunk.resume.empty())
        outcome = Transmit({}, chunk.resume, SendQueue::Class::kPiece, nullptr);
    if (outcome.verdict != SendVerdict::kAccepted)
        return outcome;
    const bool flush = outcome.flush;
    outcome = Transmit(chunk.prefix, chunk.body, SendQueue::Class::kUnit, &chunk);
    outcome.flush = outcome.flush || (flush && outcome.verdict == SendVerdict::kAccepted);
    return outcome;
}

Output::Claim Output::ClaimFor(const Chunk& chunk) {
    MutexLock lock(mutex_);
    if (finished_)
        return {{SendVerdict::kClosed}};
    const SendVerdict verdict = AdmitLive(chunk.kind);
    if (verdict != SendVerdict::kAccepted)
        return {Refuse(verdict)};
    const int socket = wire_ == nullptr ? -1 : wire_->PlainSocket();
    if (socket < 0 || !Rests() || hasLost_)
        return {TransmitLive(chunk)};
    claimed_ = true;
    return {{}, socket};
}

Output::Outcome Output::Release(const Chunk& chunk, ssize_t taken) {
    MutexLock lock(mutex_);
    claimed_ = false;
    if (closing_)
        released_.NotifyAll();
    if (taken < 0)
        return Fail();
    const auto sent = static_cast<size_t>(taken);
    if (sent == chunk.Size())
        queue_.CountSent(chunk.body.size(), true);
    else if ((sent > 0 || !finished_) && !QueueRest(chunk, sent))
        return Fail();
    return {SendVerdict::kAccepted, !queue_.Empty()};
}

/// @return false when there is no memory for it
bool Output::QueueRest(const Chunk& chunk, size_t sent) {
    try {
        queue_.PushFront({chunk, SendQueue::Class::kUnit, sent});
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

Output::Outcome Output::SendUnit(const FramePrefix& prefix, std::string_view unit, UnitKind kind,
                                 bool isWhole) {
    MutexLock lock(mutex_);
    if (finished_)
        return {SendVerdict::kClosed};
    const SendVerdict verdict = isWhole ? AdmitWhole(SendQueue::Class::kUnit) : AdmitLive(kind);
    if (verdict != SendVerdict::kAccepted)
        return Refuse(verdict);
    return Transmit(prefix, unit, SendQueue::Class::kUnit, nullptr);
}

Output::Outcome Output::Send(const FramePrefix& prefix, std::string_view body,
                             SendQueue::Class what) {
    MutexLock lock(mutex_);
    if (finished_)
        return {SendVerdict::kClosed};
    const SendVerdict verdict = AdmitWhole(what);
    if (verdict != SendVerdict::kAccepted)
        return Refuse(verdict);
    return Transmit(prefix, body, what, nullptr);
}

Output::Outcome Output::SendRaw(std::string_view bytes) {
    MutexLock lock(mutex_);
    const SendVerdict verdict = AdmitWhole(SendQueue::Class::kControl);
    if (verdict != SendVerdict::kAccepted)
        return Refuse(verdict);
    return Transmit({}, bytes, SendQueue::Class::kControl, nullptr);
}

SendVerdict Output::AdmitLive(UnitKind kind) {
    return policy_.Admit(kind, queue_.BoundBytes(), queue_.BoundUnits());
}

SendVerdict Output::AdmitWhole(SendQueue::Class what) const {
    const bool over = what == SendQueue::Class::kControl
                          ? queue_.ControlBytes() >= limits_.controlBytes
                          : queue_.BoundBytes() >= limits_.wholeBytes;
    return over ? SendVerdict::kTooSlow : SendVerdict::kAccepted;
}

Output::Outcome Output::Refuse(SendVerdict verdict) {
    if (wire_ == nullptr)
        return {SendVerdict::kClosed};
    if (verdict == SendVerdict::kTooSlow)
        GiveUpUnsent();
    else if (verdict == SendVerdict::kDropped)
        queue_.CountDropped();
    hasLost_ = hasLost_ || verdict == SendVerdict::kDropped;
    return {verdict};
}

/// @param shared the chunk that prefix and body are those of, null = nobody shares them
Output::Outcome Output::Transmit(const FramePrefix& prefix, std::string_view body,
                                 SendQueue::Class what, const Chunk* shared) {
    if (wire_ == nullptr)
        return {SendVerdict::kClosed};
    const bool first = Rests();
    const ssize_t taken = first && !isDeferred_ ? Write(*wire_, prefix, body, 0) : 0;
    if (taken < 0)
        return Fail();
    const auto sent = static_cast<size_t>(taken);
    if (sent == prefix.size + body.size())
        queue_.CountSent(body.size(), what == SendQueue::Class::kUnit);
    else
        queue_.Push({shared != nullptr ? *shared : CopyChunk(prefix, body), what, sent});
    return {SendVerdict::kAccepted, first && !queue_.Empty()};
}

bool Output::Flush() {
    MutexLock lock(mutex_);
    while (!claimed_ && wire_ != nullptr && !queue_.Empty()) {
        const ssize_t taken = WriteFront();
        if (taken < 0) {
            Fail();
            return false;
        }
        SendQueue::Frame& frame = queue_.Front();
        frame.sent += static_cast<size_t>(taken);
        if (frame.sent < frame.chunk.Size())
            return true;
        queue_.Pop();
    }
    return false;
}

/// Without the lock where that takes long: others queue behind the frame, which nobody takes away
/// from under it.
ssize_t Output::WriteFront() {
    SendQueue::Frame& frame = queue_.Front();
    if (!isDeferred_)
        return Write(*wire_, frame.chunk.prefix, frame.chunk.body, frame.sent);
    frame.isHeld = true;
    claimed_ = true;
    Wire& wire = *wire_;
    const Chunk chunk = frame.chunk;
    const size_t sent = frame.sent;
    mutex_.Unlock();
    const ssize_t taken = Write(wire, chunk.prefix, chunk.body, sent);
    mutex_.Lock();
    claimed_ = false;
    if (closing_)
        released_.NotifyAll();
    queue_.Front().isHeld = wire.HoldsNext();
    return taken;
}

/// The reading side sees the end of the connection, too, and ends the client.
Output::Outcome Output::Fail() {
    if (wire_ != nullptr)
        wire_->Break();
    wire_ = nullptr;
    queue_.Clear();
    return {SendVerdict::kClosed};
}

void Output::Finish() {
    MutexLock lock(mutex_);
    GiveUpUnsent();
}

/// A frame that has begun must go out whole: what follows it would be taken for its rest.
void Output::GiveUpUnsent() {
    finished_ = true;
    if (queue_.Empty())
        return;
    SendQueue::Frame begun = std::move(queue_.Front());
    queue_.Clear();
    if (begun.HasBegun())
        queue_.Push(std::move(begun));
}

void Output::Close() {
    MutexLock lock(mutex_);
    finished_ = true;
    closing_ = true;
    while (claimed_)
        released_.Wait(mutex_);
    wire_ = nullptr;
    queue_.Clear();
}

SendCounts Output::Counts() const {
    MutexLock lock(mutex_);
    return queue_.Counts();
}

}  // namespace vms::host
