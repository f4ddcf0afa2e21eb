#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

#include "media/unit/MediaHeader.h"

namespace vms::host {

/// How much may wait for one client.
struct SendLimits {
    size_t liveBytes = size_t{4} << 20;     ///< from here on live units are dropped
    size_t liveUnits = 256;                 ///< the same, in units: about ten seconds of pictures
    size_t wholeBytes = size_t{64} << 20;   ///< what is not live: beyond, given up
    size_t controlBytes = size_t{1} << 20;  ///< answers to what the client has sent, and
                                            ///< messages: beyond, given up
    std::chrono::steady_clock::duration patience =
        std::chrono::seconds(10);  ///< who stays over a live bound so long is given up; a newcomer
                                   ///< waits for a key picture no longer either
};

/// What becomes of something to send.
enum class SendVerdict {
    kAccepted,
    kDropped,  ///< a live unit that a slow client does without
    kHeld,     ///< a live unit of no use yet: the client waits for its first key picture
    kTooSlow,  ///< refused: the client must be given up
    kClosed,   ///< refused: the client is gone
};

/// The rule by which one slow client of a live stream loses units: once its bound is reached all
/// pictures up to the next key picture that finds room, sound and others only while there is none.
/// Not thread-safe.
class DropPolicy {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Now = Time (*)();

    explicit DropPolicy(const SendLimits& limits, Now now = &std::chrono::steady_clock::now)
        : limits_(limits), now_(now) {}

    /// @param bytes, units that wait for the client, without what it was given to begin with
    SendVerdict Admit(UnitKind kind, size_t bytes, size_t units);

    /// A stream begins anew. @param holds pictures are of no use before the next key picture
    void Begin(bool holds);

private:
    bool IsOverBound(size_t bytes, size_t units);

    std::optional<Time> overSince_;  ///< unset: there was room
    Time begun_{};
    bool waitsForKey_ = false;  ///< a picture has been dropped or held
    bool isFresh_ = false;      ///< has had no picture yet
    const SendLimits limits_;
    const Now now_;
};

}  // namespace vms::host
