#include "host/players/whep/plugin/Peer.h"

#include <gst/webrtc/webrtc.h>

#include <algorithm>
#include <string>
#include <thread>
#include <utility>

namespace vms::whep {
namespace {

using WeakPeer = std::weak_ptr<Peer>;

std::shared_ptr<Peer> Lock(gpointer weak) {
    return static_cast<WeakPeer*>(weak)->lock();
}

void FreeWeak(gpointer weak) {
    delete static_cast<WeakPeer*>(weak);
}

void FreeWeakClosure(gpointer weak, GClosure*) {
    FreeWeak(weak);
}

std::string FactoryName(GstElement* element) {
    GstElementFactory* const factory = gst_element_get_factory(element);
    return factory == nullptr ? "" : GST_OBJECT_NAME(factory);
}

std::string TextOf(GstMessage* error) {
    GError* problem = nullptr;
    gst_message_parse_error(error, &problem, nullptr);
    std::string text = problem == nullptr ? "no reason" : problem->message;
    g_clear_error(&problem);
    return text;
}

}  // namespace

template <class Function>
void Peer::Connect(gpointer object, const char* signal, Function* handler) {
    g_signal_connect_data(object, signal, G_CALLBACK(handler), new WeakPeer(weak_from_this()),
                          &FreeWeakClosure, GConnectFlags{});
}

void Peer::Open(const SessionRequest& request, const std::string& problem) {
    opened_ = Clock::now();
    if (isDropped_)
        return;
    if (!problem.empty()) {
        End(problem);
        return;
    }
    if (!Build(request)) {
        End("the WebRTC pipeline cannot be built");
        return;
    }
    if (gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        End("the WebRTC pipeline does not start");
        return;
    }
    negotiation_ = std::make_shared<Negotiation>(
        [weak = weak_from_this()](const std::string& answer, const std::string& refusal) {
            if (const auto self = weak.lock())
                self->OnAnswer(answer, refusal);
        });
    negotiation_->Start(webrtc_, request.offer);
}

bool Peer::Build(const SessionRequest& request) {
    pipeline_.reset(static_cast<GstElement*>(gst_object_ref_sink(gst_pipeline_new(nullptr))));
    webrtc_ = gst_element_factory_make("webrtcbin", nullptr);
    if (webrtc_ == nullptr)
        return false;
    gst_bin_add(GST_BIN(pipeline_.get()), webrtc_);
    gst_util_set_object_arg(G_OBJECT(webrtc_), "bundle-policy", "max-bundle");
    g_object_set(webrtc_, "latency", 0U, nullptr);
    if (!SetUpIce(request))
        return false;
    Connect(webrtc_, "deep-element-added", &Peer::OnElementAdded);
    Connect(webrtc_, "notify::connection-state", &Peer::OnConnectionState);
    const ObjectPtr<GstBus> bus(gst_element_get_bus(pipeline_.get()));
    gst_bus_set_sync_handler(bus.get(), &Peer::OnMessage, new WeakPeer(weak_from_this()),
                             &FreeWeak);

    video_ = RtpFeed::Video(pipeline_.get(), webrtc_, request);
    if (video_ == nullptr)
        return false;
    video_->OnKeyPictureWanted(
        [](void* user) {
            auto& self = *static_cast<Peer*>(user);
            if (self.isConnected_ && !self.isOver_)
                self.events_->PictureWanted();
        },
        this);
    if (request.audioPayload >= 0)
        audio_ = RtpFeed::Audio(pipeline_.get(), webrtc_, request);
    return audio_ != nullptr || request.audioPayload < 0;
}

/// Receives at the given addresses only, over UDP; asks no router to open anything.
bool Peer::SetUpIce(const SessionRequest& request) const {
    GObject* found = nullptr;
    g_object_get(webrtc_, "ice-agent", &found, nullptr);
    const ObjectPtr<GObject> ice(found);
    if (ice == nullptr)
        return false;
    if (request.firstPort > 0)
        g_object_set(ice.get(), "min-rtp-port", static_cast<guint>(request.firstPort),
                     "max-rtp-port", static_cast<guint>(request.lastPort), nullptr);
    GObject* inner = nullptr;
    g_object_get(ice.get(), "agent", &inner, nullptr);
    const ObjectPtr<GObject> agent(inner);
    if (agent == nullptr)
        return false;
    g_object_set(agent.get(), "upnp", FALSE, "ice-tcp", FALSE, nullptr);
    for (const std::string& host : request.hosts) {
        gboolean added = FALSE;
        g_signal_emit_by_name(ice.get(), "add-local-ip-address", host.c_str(), &added);
        if (!added)
            return false;
    }
    return true;
}

void Peer::OnElementAdded(GstBin*, GstBin*, GstElement* element, gpointer weak) {
    const auto self = Lock(weak);
    if (self == nullptr || FactoryName(element) != "nicesrc")
        return;
    const ObjectPtr<GstPad> pad(gst_element_get_static_pad(element, "src"));
    const auto any =
        static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST);
    gst_pad_add_probe(pad.get(), any, &Peer::OnPacket, new WeakPeer(self), &FreeWeak);
}

GstPadProbeReturn Peer::OnPacket(GstPad*, GstPadProbeInfo*, gpointer weak) {
    if (const auto self = Lock(weak))
        self->lastPacket_ = Clock::now().time_since_epoch().count();
    return GST_PAD_PROBE_OK;
}

GstBusSyncReply Peer::OnMessage(GstBus*, GstMessage* message, gpointer weak) {
    const auto self = Lock(weak);
    if (self != nullptr && GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR)
        self->End(TextOf(message));
    gst_message_unref(message);  // who drops a message lets go of it
    return GST_BUS_DROP;
}

void Peer::OnConnectionState(GstElement* webrtc, GParamSpec*, gpointer weak) {
    const auto self = Lock(weak);
    if (self == nullptr)
        return;
    GstWebRTCPeerConnectionState state = GST_WEBRTC_PEER_CONNECTION_STATE_NEW;
    g_object_get(webrtc, "connection-state", &state, nullptr);
    if (state == GST_WEBRTC_PEER_CONNECTION_STATE_CONNECTED)
        self->OnConnected();
    else if (state == GST_WEBRTC_PEER_CONNECTION_STATE_FAILED)
        self->End("the connection has failed");
    else if (state == GST_WEBRTC_PEER_CONNECTION_STATE_CLOSED)
        self->End("the browser has left");
}

void Peer::OnAnswer(const std::string& answer, const std::string& problem) {
    if (isOver_ || isDropped_)
        return;
    if (!problem.empty()) {
        End(problem);
        return;
    }
    isAnswered_ = true;
    events_->Answered(answer);
}

void Peer::OnConnected() {
    lastPacket_ = Clock::now().time_since_epoch().count();
    if (!isConnected_.exchange(true) && !isOver_)
        events_->Connected();
}

void Peer::Look(Clock::time_point now) {
    if (isOver_)
        return;
    if (!isAnswered_ && now - opened_ > kAnswerPatience)
        End("the offer could not be answered in time");
    else if (!isConnected_ && now - opened_ > kAnswerPatience + kConnectPatience)
        End("the browser has not come");
    else if (isConnected_ && now - Clock::time_point(Clock::duration(lastPacket_)) > kSilence)
        End("the browser has gone");
}

void Peer::End(const std::string& reason) {
    if (!isOver_.exchange(true) && !isDropped_)
        events_->Ended(reason);
}

void Peer::Close() {
    isOver_ = true;
    if (negotiation_ != nullptr)
        negotiation_->Stop();
    if (pipeline_ == nullptr)
        return;
    Drain();
    gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
    const ObjectPtr<GstBus> bus(gst_element_get_bus(pipeline_.get()));
    gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
}

void Peer::Push(const MediaUnit& unit, int64_t timeMs) {
    const bool isVideo = unit.Header().IsVideo();
    RtpFeed* const feed = isVideo ? video_.get() : audio_.get();
    if (!isConnected_ || isOver_ || feed == nullptr)
        return;
    // Never in the future: webrtcbin holds back what is, for good.
    const auto now = static_cast<int64_t>(gst_element_get_current_running_time(pipeline_.get()));
    const int64_t time = timeMs * static_cast<int64_t>(GST_MSECOND);
    offsetNs_ = std::min(offsetNs_.value_or(now - time), now - time);
    feed->Push(unit, timeMs, static_cast<GstClockTime>(std::max<int64_t>(0, time + *offsetNs_)));
}

/// Lets what has been pushed go: GStreamer complains of lists of packets that are on their way when
/// a pipeline ends.
void Peer::Drain() const {
    const auto deadline = Clock::now() + kDrain;
    while (WaitingBytes() > 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

size_t Peer::WaitingBytes() const {
    if (!isConnected_)
        return 0;
    return video_->WaitingBytes() + (audio_ == nullptr ? 0 : audio_->WaitingBytes());
}

}  // namespace vms::whep
