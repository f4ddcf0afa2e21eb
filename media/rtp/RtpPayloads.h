#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "media/unit/MediaUnit.h"

namespace vms {

/// Takes what units have been split into.
class RtpPayloadSink {
public:
    virtual ~RtpPayloadSink() = default;

    /// @param isLast the last one of a picture or of a frame of sound
    /// @param ticks  how much later than the unit it begins
    virtual void Take(std::string_view payload, bool isLast, uint32_t ticks) = 0;
};

/// Splits the units of one track into payloads of RTP packets, as the codec's payload format has
/// it. Thread-bound.
class RtpPayloads {
public:
    /// Bytes of a payload at most: with the headers in front of it, it fits into an Ethernet frame.
    static constexpr size_t kMostBytes = 1400;

    virtual ~RtpPayloads() = default;

    /// @param first a unit that the track can begin with: a key picture, or sound
    /// @throws MediaError that says why such a track cannot travel in RTP
    static std::unique_ptr<RtpPayloads> Make(const MediaUnit& first);

    /// A unit of the same codec; one that is broken is left out.
    /// @return the ticks that sound lasts; 0 = not told
    virtual uint32_t Split(const MediaUnit& unit, RtpPayloadSink& sink) = 0;

    /// Of the RTP timestamps, ticks per second.
    virtual int ClockRate() const = 0;

    /// The track's part of an SDP description, from its "m=" line on, without "a=control".
    virtual std::string Description() const = 0;
};

}  // namespace vms
