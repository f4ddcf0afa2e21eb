#include "host/players/whep/plugin/RtpFeed.h"

#include <algorithm>

namespace vms::whep {
namespace {

constexpr uint32_t kVideoClock = 90000;
constexpr uint32_t kAudioClock = 8000;
constexpr size_t kHeaderSize = 12;  // RFC 3550, 5.1
constexpr uint8_t kVersion = 0x80;
constexpr uint8_t kMarker = 0x80;

void Write(uint8_t*& out, uint32_t value, int bytes) {
    while (bytes-- > 0)
        *out++ = static_cast<uint8_t>(value >> (8 * bytes));
}

/// What the packets are called: all that the answer is made of.
CapsPtr PacketCaps(const char* media, const char* encoding, uint32_t clockRate, int payload,
                   uint32_t source) {
    return CapsPtr(gst_caps_new_simple("application/x-rtp", "media", G_TYPE_STRING, media,
                                       "encoding-name", G_TYPE_STRING, encoding, "clock-rate",
                                       G_TYPE_INT, static_cast<gint>(clockRate), "payload",
                                       G_TYPE_INT, payload, "ssrc", G_TYPE_UINT, source, nullptr));
}

struct WantedCall {
    RtpFeed::Wanted wanted;
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

std::unique_ptr<RtpFeed> RtpFeed::Make(GstElement* pipeline, GstElement* webrtc, const Track& track,
                                       const GstCaps* caps) {
    GstPadTemplate* const sinks = gst_element_get_pad_template(webrtc, "sink_%u");
    if (sinks == nullptr)
        return nullptr;
    GstElement* const source = gst_element_factory_make("appsrc", nullptr);
    if (source == nullptr)
        return nullptr;
    gst_bin_add(GST_BIN(pipeline), source);
    // Who pushes sees to the bounds.
    g_object_set(source, "caps", caps, "format", GST_FORMAT_TIME, "is-live", TRUE, "block", FALSE,
                 "max-bytes", guint64{0}, nullptr);
    const ObjectPtr<GstPad> from(gst_element_get_static_pad(source, "src"));
    // It must know from the start what comes: else it may answer before it does.
    const ObjectPtr<GstPad> sink(gst_element_request_pad(webrtc, sinks, nullptr, caps));
    if (sink == nullptr || gst_pad_link(from.get(), sink.get()) != GST_PAD_LINK_OK)
        return nullptr;
    GObject* found = nullptr;
    g_object_get(sink.get(), "transceiver", &found, nullptr);
    const ObjectPtr<GObject> transceiver(found);
    if (transceiver == nullptr)
        return nullptr;
    g_object_set(transceiver.get(), "codec-preferences", caps, "do-nack",
                 static_cast<gboolean>(track.isRepaired), nullptr);
    gst_util_set_object_arg(transceiver.get(), "direction", "sendonly");
    return std::unique_ptr<RtpFeed>(new RtpFeed(GST_APP_SRC(source), track));
}

std::unique_ptr<RtpFeed> RtpFeed::Video(GstElement* pipeline, GstElement* webrtc,
                                        const SessionRequest& request) {
    const Track track{static_cast<uint8_t>(request.videoPayload), kVideoClock, g_random_int(),
                      true};
    const CapsPtr caps =
        PacketCaps("video", "H264", kVideoClock, request.videoPayload, track.source);
    gst_caps_set_simple(caps.get(), "packetization-mode", G_TYPE_STRING, "1", "profile-level-id",
                        G_TYPE_STRING, request.videoProfile.c_str(), nullptr);
    return Make(pipeline, webrtc, track, caps.get());
}

std::unique_ptr<RtpFeed> RtpFeed::Audio(GstElement* pipeline, GstElement* webrtc,
                                        const SessionRequest& request) {
    const Track track{static_cast<uint8_t>(request.audioPayload), kAudioClock, g_random_int(),
                      false};
    const CapsPtr caps = PacketCaps("audio", request.isMuLaw ? "PCMU" : "PCMA", kAudioClock,
                                    request.audioPayload, track.source);
    return Make(pipeline, webrtc, track, caps.get());
}

void RtpFeed::OnKeyPictureWanted(Wanted wanted, void* user) {
    const ObjectPtr<GstPad> pad(gst_element_get_static_pad(GST_ELEMENT(source_), "src"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_EVENT_UPSTREAM, &OnUpstreamEvent,
                      new WantedCall{wanted, user},
                      [](gpointer call) { delete static_cast<WantedCall*>(call); });
}

void RtpFeed::Push(const MediaUnit& unit, int64_t timeMs, GstClockTime running) {
    const bool isVideo = unit.Header().IsVideo();
    if (!(isVideo ? SplitH264(unit.Payload(), payloads_) : SplitSound(unit.Payload(), payloads_)))
        return;
    uint32_t timestamp =
        firstTimestamp_ + static_cast<uint32_t>(timeMs * (track_.clockRate / 1000));
    GstBufferList* const packets = gst_buffer_list_new_sized(static_cast<guint>(payloads_.size()));
    for (const RtpPayload& payload : payloads_) {
        const bool isLast = &payload == &payloads_.back();
        gst_buffer_list_add(packets, Packet(payload, isVideo && isLast, timestamp, running));
        if (!isVideo)
            timestamp += static_cast<uint32_t>(payload.body.size());  // a byte is a sample
    }
    gst_app_src_push_buffer_list(source_, packets);  // takes it; at the session's end drops it
}

GstBuffer* RtpFeed::Packet(const RtpPayload& payload, bool isMarked, uint32_t timestamp,
                           GstClockTime time) {
    const size_t size = kHeaderSize + payload.Size();
    auto* const bytes = static_cast<uint8_t*>(g_malloc(size));
    uint8_t* out = bytes;
    Write(out, kVersion, 1);
    Write(out, static_cast<uint32_t>(track_.payload | (isMarked ? kMarker : 0)), 1);
    Write(out, sequence_++, 2);
    Write(out, timestamp, 4);
    Write(out, track_.source, 4);
    out = std::copy_n(payload.head.begin(), payload.headSize, out);
    std::copy(payload.body.begin(), payload.body.end(), out);
    GstBuffer* const packet = gst_buffer_new_wrapped(bytes, size);
    GST_BUFFER_PTS(packet) = time;
    return packet;
}

size_t RtpFeed::WaitingBytes() const {
    return gst_app_src_get_current_level_bytes(source_);
}

}  // namespace vms::whep
