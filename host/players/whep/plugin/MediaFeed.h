#pragma once

#include <gst/app/gstappsrc.h>

#include "host/players/whep/WhepPlugin.h"
#include "host/players/whep/plugin/GstPointers.h"

namespace vms::whep {

/// One track on its way into a pipeline: units in, RTP packets to the next free sink of a
/// webrtcbin. Its packets carry the payload type of the offer. Thread-safe, but units are pushed by
/// one thread at a time.
class MediaFeed {
public:
    /// Called on a streaming thread; must not wait.
    using Wanted = void (*)(void* user);

    /// H.264. @return null when an element is missing or does not fit
    static std::unique_ptr<MediaFeed> Video(GstElement* pipeline, GstElement* webrtc,
                                            const SessionRequest& request);
    /// G.711.
    static std::unique_ptr<MediaFeed> Audio(GstElement* pipeline, GstElement* webrtc,
                                            const SessionRequest& request);

    /// Has a function called when a key picture is asked for. Before the pipeline runs.
    void OnKeyPictureWanted(Wanted wanted, void* user);

    void Push(const MediaUnit& unit, GstClockTime time);
    Backlog Waiting() const;

private:
    explicit MediaFeed(GstAppSrc* source) : source_(source) {}

    static std::unique_ptr<MediaFeed> Make(GstElement* pipeline, GstElement* webrtc,
                                           GstElement* payloader, CapsPtr in, CapsPtr out);

    GstAppSrc* const source_;  ///< the pipeline's
};

}  // namespace vms::whep
