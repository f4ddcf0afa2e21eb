#pragma once

#include <gst/app/gstappsrc.h>

#include <memory>
#include <vector>

#include "host/players/whep/WhepPlugin.h"
#include "host/players/whep/plugin/GstPointers.h"
#include "host/players/whep/plugin/RtpPayloads.h"

namespace vms::whep {

/// One track on its way into a pipeline: units in, RTP packets to the next free sink of a
/// webrtcbin. Its packets carry the payload type of the offer. Thread-safe, but units are pushed by
/// one thread at a time.
class RtpFeed {
public:
    /// Called on a streaming thread; must not wait.
    using Wanted = void (*)(void* user);

    /// H.264. @return null when an element is missing or does not fit
    static std::unique_ptr<RtpFeed> Video(GstElement* pipeline, GstElement* webrtc,
                                          const SessionRequest& request);
    /// G.711.
    static std::unique_ptr<RtpFeed> Audio(GstElement* pipeline, GstElement* webrtc,
                                          const SessionRequest& request);

    /// Has a function called when a key picture is asked for. Before the pipeline runs.
    void OnKeyPictureWanted(Wanted wanted, void* user);

    /// @param timeMs  for the packets' timestamps, on any clock
    /// @param running the pipeline's time for it, not in the future
    void Push(const MediaUnit& unit, int64_t timeMs, GstClockTime running);

    size_t WaitingBytes() const;

private:
    struct Track {
        uint8_t payload;     ///< payload type
        uint32_t clockRate;  ///< Hz
        uint32_t source;     ///< SSRC
        bool isRepaired;     ///< lost packets are sent again
    };

    RtpFeed(GstAppSrc* source, const Track& track) : source_(source), track_(track) {}

    static std::unique_ptr<RtpFeed> Make(GstElement* pipeline, GstElement* webrtc,
                                         const Track& track, const GstCaps* caps);
    GstBuffer* Packet(const RtpPayload& payload, bool isMarked, uint32_t timestamp,
                      GstClockTime time);

    GstAppSrc* const source_;  ///< the pipeline's
    const Track track_;
    const uint32_t firstTimestamp_ = g_random_int();
    // Of the pushing thread:
    uint16_t sequence_ = static_cast<uint16_t>(g_random_int());
    std::vector<RtpPayload> payloads_;
};

}  // namespace vms::whep
