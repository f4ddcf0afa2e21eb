#include "host/stream/PlayerOutput.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <new>
#include <utility>

namespace vms {
namespace {

/// Hands a frame, from byte `sent` on, to the kernel.
/// @return bytes taken, 0 = none now, -1 = the connection is broken
ssize_t Transmit(int descriptor, const FrameHeader& header, std::string_view payload, size_t sent) {
    iovec parts[2];
    size_t count = 0;
    if (sent < header.size) {
        parts[count++] = {const_cast<char*>(header.bytes.data()) + sent, header.size - sent};
        sent = header.size;
    }
    const size_t skipped = sent - header.size;
    parts[count++] = {const_cast<char*>(payload.data()) + skipped, payload.size() - skipped};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = count;
    ssize_t taken = 0;
    do {
        taken = sendmsg(descriptor, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (taken < 0 && errno == EINTR);
    if (taken < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS))
        return 0;
    return taken;
}

}  // namespace

void PlayerOutput::Open(int descriptor) {
    MutexLock lock(mutex_);
    descriptor_ = descriptor;
}

PlayerOutput::Outcome PlayerOutput::SendUnit(std::string_view unit, UnitKind kind,
                                             bool isPlayback) {
    MutexLock lock(mutex_);
    if (finished_)
        return {SendVerdict::closed};
    return Send(Admit(kind, isPlayback), BinaryFrame(unit.size()), unit, true);
}

PlayerOutput::Claim PlayerOutput::ClaimFor(std::string_view unit, UnitKind kind, bool isPlayback) {
    MutexLock lock(mutex_);
    if (finished_)
        return {{SendVerdict::closed}};
    const SendVerdict verdict = Admit(kind, isPlayback);
    if (verdict != SendVerdict::accepted || descriptor_ < 0 || !Rests())
        return {Send(verdict, BinaryFrame(unit.size()), unit, true)};
    claimed_ = true;
    return {{}, descriptor_};
}

PlayerOutput::Outcome PlayerOutput::Release(const FrameHeader& header, std::string_view unit,
                                            ssize_t taken) {
    MutexLock lock(mutex_);
    claimed_ = false;
    if (closing_)
        released_.NotifyAll();
    if (taken < 0)
        return Fail();
    const auto sent = static_cast<size_t>(taken);
    if (sent == header.size + unit.size())
        queue_.CountSent(unit.size(), true);
    else if ((sent > 0 || !finished_) && !QueueRest(header, unit, sent))
        return Fail();
    return {SendVerdict::accepted, !queue_.Empty()};
}

/// @return false when there is no memory for it
bool PlayerOutput::QueueRest(const FrameHeader& header, std::string_view unit, size_t sent) {
    try {
        queue_.PushFront({header, SharedPayload(unit.data(), unit.size()), sent, true});
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

SendVerdict PlayerOutput::Admit(UnitKind kind, bool isPlayback) {
    return isPlayback ? queue_.AdmitWhole() : queue_.AdmitLive(kind);
}

PlayerOutput::Outcome PlayerOutput::SendText(std::string_view text) {
    MutexLock lock(mutex_);
    if (finished_)
        return {SendVerdict::closed};
    return Send(queue_.AdmitWhole(), TextFrame(text.size()), text, false);
}

PlayerOutput::Outcome PlayerOutput::SendRaw(std::string_view bytes) {
    MutexLock lock(mutex_);
    return Send(SendVerdict::accepted, {}, bytes, false);
}

PlayerOutput::Outcome PlayerOutput::Send(SendVerdict verdict, const FrameHeader& header,
                                         std::string_view payload, bool isUnit) {
    if (descriptor_ < 0)
        return {SendVerdict::closed};
    if (verdict == SendVerdict::tooSlow)
        GiveUpUnsent();
    if (verdict != SendVerdict::accepted)
        return {verdict};
    const bool first = Rests();
    const ssize_t taken = first ? Transmit(descriptor_, header, payload, 0) : 0;
    if (taken < 0)
        return Fail();
    const auto sent = static_cast<size_t>(taken);
    if (sent == header.size + payload.size())
        queue_.CountSent(payload.size(), isUnit);
    else
        queue_.Push({header, SharedPayload(payload.data(), payload.size()), sent, isUnit});
    return {SendVerdict::accepted, first && !queue_.Empty()};
}

bool PlayerOutput::Flush() {
    MutexLock lock(mutex_);
    while (!claimed_ && descriptor_ >= 0 && !queue_.Empty()) {
        SendQueue::Frame& frame = queue_.Front();
        const ssize_t taken = Transmit(descriptor_, frame.header, *frame.payload, frame.sent);
        if (taken < 0) {
            Fail();
            return false;
        }
        frame.sent += static_cast<size_t>(taken);
        if (frame.sent < frame.Size())
            return true;
        queue_.Pop();
    }
    return false;
}

/// The reading side sees the end of the connection, too, and ends the player.
PlayerOutput::Outcome PlayerOutput::Fail() {
    shutdown(descriptor_, SHUT_RDWR);
    descriptor_ = -1;
    queue_.Clear();
    return {SendVerdict::closed};
}

void PlayerOutput::Finish() {
    MutexLock lock(mutex_);
    GiveUpUnsent();
}

/// A frame that has begun must go out whole: what follows it would be taken for its rest.
void PlayerOutput::GiveUpUnsent() {
    finished_ = true;
    if (queue_.Empty())
        return;
    SendQueue::Frame begun = std::move(queue_.Front());
    queue_.Clear();
    if (begun.sent > 0)
        queue_.Push(std::move(begun));
}

void PlayerOutput::Close() {
    MutexLock lock(mutex_);
    finished_ = true;
    closing_ = true;
    while (claimed_)
        released_.Wait(mutex_);
    descriptor_ = -1;
    queue_.Clear();
}

SendCounts PlayerOutput::Counts() const {
    MutexLock lock(mutex_);
    return queue_.Counts();
}

}  // namespace vms
