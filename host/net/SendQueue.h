#pragma once

#include <cstdint>
#include <deque>

#include "host/net/Chunk.h"

namespace vms::host {

/// How sending to a client goes.
struct SendCounts {
    uint64_t sentUnits = 0;
    uint64_t sentBytes = 0;  ///< units and texts, without framing
    uint64_t droppedUnits = 0;
    size_t queuedUnits = 0;
    size_t queuedBytes = 0;
};

/// What waits for one client because the network did not take it. Not thread-safe.
class SendQueue {
public:
    enum class Class : uint8_t {
        kUnit,     ///< of a stream
        kPrelude,  ///< a unit the client was given to begin with: counts towards no bound
        kPiece,    ///< of an answer
        kControl,  ///< an answer to what the client has sent, or a message to it
    };

    /// A chunk whose first `sent` bytes, prefix included, are on their way.
    struct Frame {
        Chunk chunk;
        Class what = Class::kUnit;
        size_t sent = 0;
        bool isHeld = false;  ///< the wire has begun with what is next of it, see Wire::HoldsNext

        bool HasBegun() const { return sent > 0 || isHeld; }
        bool IsUnit() const { return what <= Class::kPrelude; }
    };

    bool Empty() const { return frames_.empty(); }
    Frame& Front() { return frames_.front(); }
    void Push(Frame frame);
    void PushFront(Frame frame);
    void Pop();
    void Clear();

    /// Counts a frame that has gone without waiting.
    void CountSent(size_t bodyBytes, bool isUnit);
    void CountDropped() { ++counts_.droppedUnits; }

    const SendCounts& Counts() const { return counts_; }
    /// Bytes that count towards the bounds, with what it costs to keep small ones.
    size_t BoundBytes() const {
        return counts_.queuedBytes - preludeBytes_ + (frames_.size() - preludeUnits_) * kFrameCost;
    }
    size_t BoundUnits() const { return counts_.queuedUnits - preludeUnits_; }
    size_t ControlBytes() const { return controlBytes_; }

private:
    static constexpr size_t kFrameCost = 256;

    static size_t ControlCost(const Frame& frame);
    void CountQueued(const Frame& frame);

    // What every unit of every client touches comes first.
    SendCounts counts_;
    size_t preludeBytes_ = 0;
    size_t preludeUnits_ = 0;
    size_t controlBytes_ = 0;
    std::deque<Frame> frames_;
};

}  // namespace vms::host
