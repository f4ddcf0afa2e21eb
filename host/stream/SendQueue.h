#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

#include "host/stream/FrameHeader.h"
#include "host/stream/Payload.h"
#include "host/stream/UnitKind.h"

namespace vms {

/// How much may wait for one player.
struct SendLimits {
    size_t liveBytes = size_t{4} << 20;       ///< from here on live units are dropped
    size_t liveUnits = 256;                   ///< the same, in units: about ten seconds of pictures
    size_t playbackBytes = size_t{64} << 20;  ///< from here on the player is given up
    std::chrono::steady_clock::duration patience =
        std::chrono::seconds(10);  ///< a live player that stays over its bound so long is given up
};

/// What becomes of something to send.
enum class SendVerdict {
    accepted,
    dropped,  ///< a live unit that a slow player does without
    tooSlow,  ///< refused: the player must be given up
    closed,   ///< refused: the player is gone
};

/// How sending to a player goes.
struct SendCounts {
    uint64_t sentUnits = 0;
    uint64_t sentBytes = 0;  ///< units and texts, without framing
    uint64_t droppedUnits = 0;
    size_t queuedUnits = 0;
    size_t queuedBytes = 0;
};

/// What waits for one player because the network did not take it, and the rules by which a slow
/// player loses units. Not thread-safe.
class SendQueue {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Now = Time (*)();

    /// A frame whose first `sent` bytes, header included, are on their way.
    struct Frame {
        FrameHeader header;
        Payload payload;
        size_t sent = 0;
        bool isUnit = false;

        size_t Size() const { return header.size + payload->size(); }
    };

    explicit SendQueue(const SendLimits& limits, Now now = &std::chrono::steady_clock::now)
        : limits_(limits), now_(now) {}

    /// Whether a live unit may go: once the bound is reached all pictures are dropped up to the
    /// next key picture that finds room, sound and others only while there is none.
    SendVerdict AdmitLive(UnitKind kind);

    /// Whether anything else may go; nothing of it is dropped.
    SendVerdict AdmitWhole() const;

    bool Empty() const { return frames_.empty(); }
    Frame& Front() { return frames_.front(); }
    void Push(Frame frame);
    void PushFront(Frame frame);
    void Pop();
    void Clear();

    /// Counts a frame that has gone without waiting.
    void CountSent(size_t payloadBytes, bool isUnit);

    const SendCounts& Counts() const { return counts_; }

private:
    void CountQueued(const Frame& frame);
    bool IsOverBound();
    bool MayGo(UnitKind kind, bool overBound);

    // What every unit of every player touches comes first.
    SendCounts counts_;
    std::optional<Time> overSince_;  ///< unset: there was room
    bool waitsForKey_ = false;       ///< a picture has been dropped
    const SendLimits limits_;
    const Now now_;
    std::deque<Frame> frames_;
};

}  // namespace vms
