#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

#include "host/stream/Payload.h"
#include "host/stream/UnitKind.h"
#include "platform/Mutex.h"

namespace vms {

/// How much may wait for one player.
struct SendLimits {
    size_t liveBytes = size_t{4} << 20;       ///< from here on live units are dropped
    size_t liveUnits = 256;                   ///< the same, in units: about ten seconds of pictures
    size_t playbackBytes = size_t{64} << 20;  ///< from here on the player is given up
    std::chrono::steady_clock::duration patience =
        std::chrono::seconds(10);  ///< a live player that stays over its bound so long is given up
};

/// What became of something to send.
enum class SendVerdict {
    queued,
    dropped,  ///< a live unit that a slow player does without
    tooSlow,  ///< refused: the player must be given up
    closed,   ///< refused: the queue has been closed
};

/// What waits for one player, and the rules by which a slow one loses units. Any thread puts
/// messages in, one writer takes them out. Thread-safe.
class SendQueue {
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Message {
        Payload bytes;
        bool text;  ///< else a media unit
    };

    struct Counts {
        uint64_t sentUnits = 0;
        uint64_t sentBytes = 0;
        uint64_t droppedUnits = 0;
        size_t queuedUnits = 0;
        size_t queuedBytes = 0;
    };

    struct Outcome {
        SendVerdict verdict;
        bool wakeWriter = false;  ///< the writer had nothing to do: wake it
    };

    explicit SendQueue(const SendLimits& limits) : limits_(limits) {}

    /// A unit that may be dropped: once the bound is reached all pictures up to the next key
    /// picture that finds room, sound and others only while there is none.
    Outcome PushLive(Payload unit, Time now) VMS_EXCLUDES(mutex_);

    /// A unit that is never dropped.
    Outcome PushPlayback(Payload unit) VMS_EXCLUDES(mutex_);

    /// An answer or message; counts like a playback unit.
    Outcome PushText(Payload text) VMS_EXCLUDES(mutex_);

    /// For the writer: the next message, or nothing, upon which the writer rests until woken.
    std::optional<Message> Take() VMS_EXCLUDES(mutex_);

    /// Forgets what waits and refuses everything from now on.
    void Close() VMS_EXCLUDES(mutex_);

    Counts Count() const VMS_EXCLUDES(mutex_);
    size_t QueuedUnits() const VMS_EXCLUDES(mutex_);

private:
    bool IsOverBound(Time now) VMS_REQUIRES(mutex_);
    bool MayGo(UnitKind kind, bool overBound) VMS_REQUIRES(mutex_);
    Outcome Append(Payload bytes, bool text) VMS_REQUIRES(mutex_);
    Outcome AppendUnlessFull(Payload bytes, bool text) VMS_REQUIRES(mutex_);

    const SendLimits limits_;
    mutable Mutex mutex_;
    std::deque<Message> messages_ VMS_GUARDED_BY(mutex_);
    Counts counts_ VMS_GUARDED_BY(mutex_);
    std::optional<Time> overSince_ VMS_GUARDED_BY(mutex_);  ///< unset: there was room
    bool waitsForKey_ VMS_GUARDED_BY(mutex_) = false;       ///< a picture has been dropped
    bool writerRests_ VMS_GUARDED_BY(mutex_) = true;
    bool closed_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms
