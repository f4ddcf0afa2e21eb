#pragma once

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
class PlayerOutput {
public:
    struct Outcome {
        SendVerdict verdict = SendVerdict::accepted;
        bool flush = false;  ///< have Flush called once the socket can be written to
    };

    explicit PlayerOutput(const SendLimits& limits) : queue_(limits) {}

    /// @param descriptor a connected, non-blocking TCP socket; not owned, valid until Close
    void Open(int descriptor) VMS_EXCLUDES(mutex_);

    Outcome SendLive(std::string_view unit) VMS_EXCLUDES(mutex_);
    Outcome SendPlayback(std::string_view unit) VMS_EXCLUDES(mutex_);
    Outcome SendText(std::string_view text) VMS_EXCLUDES(mutex_);
    /// Bytes that are framed already: handshake and control frames.
    Outcome SendRaw(std::string_view bytes) VMS_EXCLUDES(mutex_);

    /// @return whether it must be called again once the socket can be written to
    bool Flush() VMS_EXCLUDES(mutex_);

    /// Takes no more units and texts, and forgets those of which nothing has gone out.
    void Finish() VMS_EXCLUDES(mutex_);

    /// Uses the descriptor no more.
    void Close() VMS_EXCLUDES(mutex_);

    SendCounts Counts() const VMS_EXCLUDES(mutex_);

private:
    Outcome Send(SendVerdict verdict, const FrameHeader& header, std::string_view payload,
                 bool isUnit) VMS_REQUIRES(mutex_);
    Outcome Fail() VMS_REQUIRES(mutex_);
    void GiveUpUnsent() VMS_REQUIRES(mutex_);

    mutable Mutex mutex_;
    SendQueue queue_ VMS_GUARDED_BY(mutex_);
    int descriptor_ VMS_GUARDED_BY(mutex_) = -1;  ///< -1 = not open, or no more
    bool finished_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms
