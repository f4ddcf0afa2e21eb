#include "sim/rtsp/LoopFeeder.h"

#include <cstdint>
#include <utility>

#include <gst/app/gstappsrc.h>

namespace vms::sim {

namespace {

using SharedClip = std::shared_ptr<const Clip>;

// Belongs to one appsrc and is only touched by its streaming thread.
struct Feeder {
    SharedClip clip;
    uint64_t next = 0;
};

void ReleaseClip(gpointer holder) {
    delete static_cast<SharedClip*>(holder);
}

// The buffer refers to the clip's memory, which every viewer shares.
GstBuffer* Wrap(const SharedClip& clip, const Clip::Frame& frame) {
    return gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY,
                                       const_cast<char*>(frame.bytes.data()), frame.bytes.size(), 0,
                                       frame.bytes.size(), new SharedClip(clip), ReleaseClip);
}

void OnNeedData(GstAppSrc* source, guint, gpointer data) {
    auto* feeder = static_cast<Feeder*>(data);
    const Clip& clip = *feeder->clip;
    const Clip::Frame& frame = clip.frames[feeder->next % clip.frames.size()];
    GstBuffer* buffer = Wrap(feeder->clip, frame);
    const auto duration = static_cast<GstClockTime>(clip.FrameDuration().count());
    GST_BUFFER_PTS(buffer) = GST_BUFFER_DTS(buffer) = feeder->next * duration;
    GST_BUFFER_DURATION(buffer) = duration;
    if (!frame.key)
        GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
    ++feeder->next;
    gst_app_src_push_buffer(source, buffer);
}

void DeleteFeeder(gpointer data, GClosure*) {
    delete static_cast<Feeder*>(data);
}

const char* CapsText(const Clip& clip) {
    return FormatOf(clip.kind).h265
               ? "video/x-h265,stream-format=byte-stream,alignment=au,framerate=25/1"
               : "video/x-h264,stream-format=byte-stream,alignment=au,framerate=25/1";
}

}  // namespace

void FeedInLoop(GstElement* appsrc, SharedClip clip) {
    GstCaps* caps = gst_caps_from_string(CapsText(*clip));
    gst_app_src_set_caps(GST_APP_SRC(appsrc), caps);
    gst_caps_unref(caps);
    g_signal_connect_data(appsrc, "need-data", G_CALLBACK(OnNeedData), new Feeder{std::move(clip)},
                          DeleteFeeder, GConnectFlags(0));
}

}  // namespace vms::sim
