#pragma once

#include <sys/types.h>

#include <string_view>

#include "host/stream/SendQueue.h"
#include "platform/Mutex.h"

namespace vms {

/// The sending side of one player's socket. Whoever has something to send hands it to the kernel at
/// once, without waiting and, as a rule, without copying; what the kernel does not take is queued
/// and goes out from Flush. All bytes of the connection pass through here, so frames never mix.
/// Thread-safe; no call waits for the player.
///
/// A player that proves too slow is told so once: from then on the output is finished.
///
/// A sender that serves many players at once claims their outputs, hands the frame to the kernel
/// itself and gives them back. Meanwhile others' frames are queued.
class PlayerOutput {
public:
    struct Outcome {
        SendVerdict verdict = SendVerdict::accepted;
        bool flush = false;  ///< have Flush called once the socket can be written to
    };

    explicit PlayerOutput(const SendLimits& limits) : queue_(limits) {}

    struct Claim {
        Outcome outcome;
        int descriptor = -1;  ///< -1: not claimed, the outcome is final
    };

    /// @param descriptor a connected, non-blocking TCP socket; not owned, valid until Close
    void Open(int descriptor) VMS_EXCLUDES(mutex_);

    /// @param kind the unit's @param isPlayback false: it may be dropped
    Outcome SendUnit(std::string_view unit, UnitKind kind, bool isPlayback) VMS_EXCLUDES(mutex_);

    /// The same, except that a unit the kernel may take at once is left to the caller, who sends
    /// the frame on the claimed descriptor, without waiting, and calls Release.
    Claim ClaimFor(std::string_view unit, UnitKind kind, bool isPlayback) VMS_EXCLUDES(mutex_);

    /// @param taken bytes of the frame that the kernel took, -1 = the connection is broken
    Outcome Release(const FrameHeader& header, std::string_view unit, ssize_t taken)
        VMS_EXCLUDES(mutex_);

    Outcome SendText(std::string_view text) VMS_EXCLUDES(mutex_);
    /// Bytes that are framed already: handshake and control frames.
    Outcome SendRaw(std::string_view bytes) VMS_EXCLUDES(mutex_);

    /// @return whether it must be called again once the socket can be written to
    bool Flush() VMS_EXCLUDES(mutex_);

    /// Takes no more units and texts, and forgets those of which nothing has gone out.
    void Finish() VMS_EXCLUDES(mutex_);

    /// Uses the descriptor no more; waits for a claim to be given back.
    void Close() VMS_EXCLUDES(mutex_);

    SendCounts Counts() const VMS_EXCLUDES(mutex_);

private:
    SendVerdict Admit(UnitKind kind, bool isPlayback) VMS_REQUIRES(mutex_);
    Outcome Send(SendVerdict verdict, const FrameHeader& header, std::string_view payload,
                 bool isUnit) VMS_REQUIRES(mutex_);
    bool Rests() const VMS_REQUIRES(mutex_) { return !claimed_ && queue_.Empty(); }
    bool QueueRest(const FrameHeader& header, std::string_view unit, size_t sent)
        VMS_REQUIRES(mutex_);
    Outcome Fail() VMS_REQUIRES(mutex_);
    void GiveUpUnsent() VMS_REQUIRES(mutex_);

    mutable Mutex mutex_;
    int descriptor_ VMS_GUARDED_BY(mutex_) = -1;  ///< -1 = not open, or no more
    bool finished_ VMS_GUARDED_BY(mutex_) = false;
    bool claimed_ VMS_GUARDED_BY(mutex_) = false;  ///< somebody else sends on the descriptor
    bool closing_ VMS_GUARDED_BY(mutex_) = false;  ///< waits for the claim to be given back
    SendQueue queue_ VMS_GUARDED_BY(mutex_);
    CondVar released_;
};

}  // namespace vms
