#include "host/players/whep/plugin/MediaFeed.h"

#include <memory>
#include <new>
#include <string>

namespace vms::whep {
namespace {

/// With room for what SRTP, a tunnel or IPv6 add, in a packet of Ethernet's size.
constexpr guint kPacketBytes = 1200;

constexpr int kVideoClock = 90000;
constexpr int kAudioClock = 8000;

/// A unit that a buffer refers to.
struct Held {
    MediaUnit unit;
};

void Release(gpointer held) {
    delete static_cast<Held*>(held);
}

/// Shares the unit's payload. @throws std::bad_alloc
GstBuffer* BufferOf(const MediaUnit& unit) {
    const std::string_view payload = unit.Payload();
    auto held = std::make_unique<Held>(Held{unit});
    // GStreamer wants a pointer to what may change, and is told that this may not.
    auto* const bytes = const_cast<char*>(payload.data());
    return gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, bytes, payload.size(), 0,
                                       payload.size(), held.release(), &Release);
}

/// What the packets are to be called, whatever the payloader would say. Constant from the start, so
/// that the answer can be made before there is anything to send.
CapsPtr PacketCaps(const char* media, const char* encoding, int clock, int payload, guint ssrc) {
    return CapsPtr(gst_caps_new_simple("application/x-rtp", "media", G_TYPE_STRING, media,
                                       "encoding-name", G_TYPE_STRING, encoding, "clock-rate",
                                       G_TYPE_INT, clock, "payload", G_TYPE_INT, payload, "ssrc",
                                       G_TYPE_UINT, ssrc, nullptr));
}

/// @return null when there is no such element
GstElement* MakePayloader(const char* factory, int payload, guint ssrc) {
    GstElement* const payloader = gst_element_factory_make(factory, nullptr);
    if (payloader != nullptr)
        g_object_set(payloader, "pt", static_cast<guint>(payload), "ssrc", ssrc, "mtu",
                     kPacketBytes, nullptr);
    return payloader;
}

/// @return null when there is no such element; else the pipeline's
GstElement* Take(GstElement* pipeline, GstElement* element) {
    if (element != nullptr)
        gst_bin_add(GST_BIN(pipeline), element);
    return element;
}

struct WantedCall {
    MediaFeed::Wanted wanted;
    void* user;
};

GstPadProbeReturn OnUpstreamEvent(GstPad*, GstPadProbeInfo* info, gpointer data) {
    const GstStructure* const structure = gst_event_get_structure(GST_PAD_PROBE_INFO_EVENT(info));
    if (structure != nullptr && gst_structure_has_name(structure, "GstForceKeyUnit")) {
        const auto* const call = static_cast<WantedCall*>(data);
        call->wanted(call->user);
    }
    return GST_PAD_PROBE_OK;
}

}  // namespace

std::unique_ptr<MediaFeed> MediaFeed::Make(GstElement* pipeline, GstElement* webrtc,
                                           GstElement* payloader, CapsPtr in, CapsPtr out) {
    GstElement* const pay = Take(pipeline, payloader);
    GstElement* const source = Take(pipeline, gst_element_factory_make("appsrc", nullptr));
    GstElement* const naming = Take(pipeline, gst_element_factory_make("capssetter", nullptr));
    if (pay == nullptr || source == nullptr || naming == nullptr)
        return nullptr;
    // Who pushes sees to the bounds.
    g_object_set(source, "caps", in.get(), "format", GST_FORMAT_TIME, "is-live", TRUE, "block",
                 FALSE, "max-bytes", guint64{0}, nullptr);
    g_object_set(naming, "caps", out.get(), "join", TRUE, "replace", TRUE, nullptr);
    const ObjectPtr<GstPad> sink(gst_element_request_pad_simple(webrtc, "sink_%u"));
    const ObjectPtr<GstPad> from(gst_element_get_static_pad(naming, "src"));
    if (!gst_element_link_many(source, pay, naming, nullptr) || sink == nullptr ||
        gst_pad_link(from.get(), sink.get()) != GST_PAD_LINK_OK)
        return nullptr;
    return std::unique_ptr<MediaFeed>(new MediaFeed(GST_APP_SRC(source)));
}

std::unique_ptr<MediaFeed> MediaFeed::Video(GstElement* pipeline, GstElement* webrtc,
                                            const SessionRequest& request) {
    const guint ssrc = g_random_int();
    CapsPtr out = PacketCaps("video", "H264", kVideoClock, request.videoPayload, ssrc);
    gst_caps_set_simple(out.get(), "packetization-mode", G_TYPE_STRING, "1", "profile-level-id",
                        G_TYPE_STRING, request.videoProfile.c_str(), nullptr);
    GstElement* const payloader = MakePayloader("rtph264pay", request.videoPayload, ssrc);
    if (payloader != nullptr) {
        g_object_set(payloader, "config-interval", -1, nullptr);
        gst_util_set_object_arg(G_OBJECT(payloader), "aggregate-mode", "zero-latency");
    }
    CapsPtr in(gst_caps_from_string("video/x-h264,stream-format=byte-stream,alignment=au"));
    return Make(pipeline, webrtc, payloader, std::move(in), std::move(out));
}

std::unique_ptr<MediaFeed> MediaFeed::Audio(GstElement* pipeline, GstElement* webrtc,
                                            const SessionRequest& request) {
    const guint ssrc = g_random_int();
    CapsPtr out = PacketCaps("audio", request.isMuLaw ? "PCMU" : "PCMA", kAudioClock,
                             request.audioPayload, ssrc);
    GstElement* const payloader =
        MakePayloader(request.isMuLaw ? "rtppcmupay" : "rtppcmapay", request.audioPayload, ssrc);
    if (payloader != nullptr)
        g_object_set(payloader, "perfect-rtptime", FALSE, nullptr);  // a gap stays a gap
    CapsPtr in(gst_caps_new_simple(request.isMuLaw ? "audio/x-mulaw" : "audio/x-alaw", "rate",
                                   G_TYPE_INT, kAudioClock, "channels", G_TYPE_INT, 1, nullptr));
    return Make(pipeline, webrtc, payloader, std::move(in), std::move(out));
}

void MediaFeed::OnKeyPictureWanted(Wanted wanted, void* user) {
    const ObjectPtr<GstPad> pad(gst_element_get_static_pad(GST_ELEMENT(source_), "src"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_EVENT_UPSTREAM, &OnUpstreamEvent,
                      new WantedCall{wanted, user},
                      [](gpointer call) { delete static_cast<WantedCall*>(call); });
}

void MediaFeed::Push(const MediaUnit& unit, GstClockTime time) {
    GstBuffer* const buffer = BufferOf(unit);
    GST_BUFFER_PTS(buffer) = time;
    if (unit.Kind() == UnitKind::kPicture)
        GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
    gst_app_src_push_buffer(source_, buffer);  // takes it; at the session's end it is dropped
}

Backlog MediaFeed::Waiting() const {
    return {gst_app_src_get_current_level_bytes(source_),
            gst_app_src_get_current_level_buffers(source_)};
}

}  // namespace vms::whep
