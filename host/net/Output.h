#pragma once

#include <sys/types.h>

#include <string_view>
#include <vector>

#include "host/net/DropPolicy.h"
#include "host/net/SendQueue.h"
#include "host/net/Wire.h"
#include "platform/Mutex.h"

namespace vms::host {

/// The sending side of one client's wire. Whoever has something to send hands it to the kernel at
/// once, without waiting and, as a rule, without copying; what the kernel does not take is queued
/// and goes out from Flush. All bytes of the connection pass through here, so frames never mix.
/// Thread-safe; no call waits for the client.
///
/// A client that proves too slow is told so once: from then on the output is finished.
///
/// A sender that serves many clients at once claims their outputs, hands the chunk to the kernel
/// itself and gives them back. Meanwhile others' chunks are queued.
///
/// Where the wire wants to be written to on its I/O thread everything is queued, and Flush writes
/// one frame after the other without the lock: no sender waits for encryption.
class Output {
public:
    struct Outcome {
        SendVerdict verdict = SendVerdict::kAccepted;
        bool flush = false;  ///< have Flush called: at once where writing is deferred, else once
                             ///< the wire can be written to
    };

    struct Claim {
        Outcome outcome;
        int socket = -1;  ///< -1: not claimed, the outcome is final
    };

    /// @param wire must stay until Close
    Output(Wire& wire, const SendLimits& limits)
        : wire_(&wire), isDeferred_(wire.WritesOnIoThread()), limits_(limits), policy_(limits) {}

    /// Whether nothing is written but by Flush, on the wire's I/O thread. Constant.
    bool IsDeferred() const { return isDeferred_; }

    /// A live stream begins: queues what the client is given to begin with, without sending it yet.
    /// @param holds pictures are of no use before the next key picture
    /// @return whether there is something to flush
    bool BeginLive(const std::vector<Chunk>& prelude, bool holds) VMS_EXCLUDES(mutex_);

    /// A unit of a live stream, which may be dropped.
    Outcome SendLive(const Chunk& chunk) VMS_EXCLUDES(mutex_);

    /// The same, except that a chunk the kernel may take at once is left to the caller, who sends
    /// it on the claimed socket, without waiting, and calls Release.
    Claim ClaimFor(const Chunk& chunk) VMS_EXCLUDES(mutex_);

    /// @param taken bytes of the chunk that the kernel took, -1 = the connection is broken
    Outcome Release(const Chunk& chunk, ssize_t taken) VMS_EXCLUDES(mutex_);

    /// A unit that nobody shares; its bytes are copied only if they must wait.
    /// @param isWhole nothing of the stream may be dropped
    Outcome SendUnit(const FramePrefix& prefix, std::string_view unit, UnitKind kind, bool isWhole)
        VMS_EXCLUDES(mutex_);

    /// What must not be lost: a piece of an answer, an answer, a message.
    /// @param what kPiece or kControl
    Outcome Send(const FramePrefix& prefix, std::string_view body, SendQueue::Class what)
        VMS_EXCLUDES(mutex_);

    /// Bytes that are framed already: handshakes and the frames of the protocol's own. They still
    /// go once the output is finished, but not beyond the bound of kControl.
    Outcome SendRaw(std::string_view bytes) VMS_EXCLUDES(mutex_);

    /// @return whether it must be called again once the wire can be written to
    bool Flush() VMS_EXCLUDES(mutex_);

    /// Takes no more units and texts, and forgets those of which nothing has gone out.
    void Finish() VMS_EXCLUDES(mutex_);

    /// Uses the wire no more; waits for a claim to be given back.
    void Close() VMS_EXCLUDES(mutex_);

    SendCounts Counts() const VMS_EXCLUDES(mutex_);

private:
    SendVerdict AdmitLive(UnitKind kind) VMS_REQUIRES(mutex_);
    Outcome TransmitLive(const Chunk& chunk) VMS_REQUIRES(mutex_);
    SendVerdict AdmitWhole(SendQueue::Class what) const VMS_REQUIRES(mutex_);
    Outcome Refuse(SendVerdict verdict) VMS_REQUIRES(mutex_);
    Outcome Transmit(const FramePrefix& prefix, std::string_view body, SendQueue::Class what,
                     const Chunk* shared) VMS_REQUIRES(mutex_);
    ssize_t WriteFront() VMS_REQUIRES(mutex_);
    bool Rests() const VMS_REQUIRES(mutex_) { return !claimed_ && queue_.Empty(); }
    bool QueueRest(const Chunk& chunk, size_t sent) VMS_REQUIRES(mutex_);
    Outcome Fail() VMS_REQUIRES(mutex_);
    void GiveUpUnsent() VMS_REQUIRES(mutex_);

    mutable Mutex mutex_;
    Wire* wire_ VMS_GUARDED_BY(mutex_);  ///< null = no more
    bool finished_ VMS_GUARDED_BY(mutex_) = false;
    bool claimed_ VMS_GUARDED_BY(mutex_) = false;  ///< somebody sends without the lock
    bool closing_ VMS_GUARDED_BY(mutex_) = false;  ///< waits for the claim to be given back
    bool hasLost_ VMS_GUARDED_BY(mutex_) = false;  ///< the live unit before
    SendQueue queue_ VMS_GUARDED_BY(mutex_);
    const bool isDeferred_;
    const SendLimits limits_;
    DropPolicy policy_ VMS_GUARDED_BY(mutex_);
    CondVar released_;
};

}  // namespace vms::host
