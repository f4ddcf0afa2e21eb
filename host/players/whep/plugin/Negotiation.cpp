#include "host/players/whep/plugin/Negotiation.h"

#include <gst/sdp/gstsdpmessage.h>
#include <gst/webrtc/webrtc.h>

#include <utility>

namespace vms::whep {
namespace {

struct DescriptionFree {
    void operator()(GstWebRTCSessionDescription* description) const {
        gst_webrtc_session_description_free(description);
    }
};
using DescriptionPtr = std::unique_ptr<GstWebRTCSessionDescription, DescriptionFree>;

/// @return null when it is no SDP
DescriptionPtr ReadOffer(const std::string& text) {
    GstSDPMessage* message = nullptr;
    if (gst_sdp_message_new_from_text(text.c_str(), &message) != GST_SDP_OK)
        return nullptr;
    return DescriptionPtr(gst_webrtc_session_description_new(GST_WEBRTC_SDP_TYPE_OFFER, message));
}

/// "" = there is none.
std::string ProblemOf(const GstStructure* reply) {
    GError* error = nullptr;
    if (reply == nullptr || !gst_structure_has_field(reply, "error") ||
        !gst_structure_get(reply, "error", G_TYPE_ERROR, &error, nullptr) || error == nullptr)
        return "";
    std::string problem = error->message;
    g_error_free(error);
    return problem;
}

bool HasGathered(GstElement* webrtc) {
    GstWebRTCICEGatheringState state = GST_WEBRTC_ICE_GATHERING_STATE_NEW;
    g_object_get(webrtc, "ice-gathering-state", &state, nullptr);
    return state == GST_WEBRTC_ICE_GATHERING_STATE_COMPLETE;
}

}  // namespace

/// What follows, for as long as somebody may call it.
struct Negotiation::Step {
    std::weak_ptr<Negotiation> negotiation;
    Next next;

    static void Free(gpointer step) { delete static_cast<Step*>(step); }
    static void FreeClosure(gpointer step, GClosure*) { Free(step); }
};

void Negotiation::Start(GstElement* webrtc, const std::string& offer) {
    const DescriptionPtr description = ReadOffer(offer);
    if (description == nullptr) {
        Finish("", "the offer is no SDP");
        return;
    }
    const gulong gathering = g_signal_connect_data(
        webrtc, "notify::ice-gathering-state", G_CALLBACK(&Negotiation::OnGathering),
        new Step{weak_from_this(), nullptr}, &Step::FreeClosure, GConnectFlags{});
    {
        MutexLock lock(mutex_);
        webrtc_.reset(static_cast<GstElement*>(g_object_ref(webrtc)));
        gathering_ = gathering;
    }
    g_signal_emit_by_name(webrtc, "set-remote-description", description.get(),
                          Then(&Negotiation::OfferSet));
}

void Negotiation::Stop() {
    ElementPtr webrtc;
    gulong gathering = 0;
    {
        MutexLock lock(mutex_);
        done_ = nullptr;
        webrtc = std::move(webrtc_);
        gathering = std::exchange(gathering_, 0);
    }
    if (webrtc != nullptr)
        g_signal_handler_disconnect(webrtc.get(), gathering);
}

/// A promise whose fulfilment calls the next step. The action that is given it takes it.
GstPromise* Negotiation::Then(Next next) {
    return gst_promise_new_with_change_func(&Negotiation::OnReply, new Step{weak_from_this(), next},
                                            &Step::Free);
}

void Negotiation::OnReply(GstPromise* promise, gpointer data) {
    const auto& step = *static_cast<Step*>(data);
    const auto self = step.negotiation.lock();
    if (self != nullptr && gst_promise_wait(promise) == GST_PROMISE_RESULT_REPLIED) {
        const GstStructure* const reply = gst_promise_get_reply(promise);
        if (const std::string problem = ProblemOf(reply); !problem.empty())
            self->Finish("", problem);
        else
            (self.get()->*step.next)(reply);
    }
    gst_promise_unref(promise);
}

void Negotiation::OnGathering(GstElement*, GParamSpec*, gpointer step) {
    if (const auto self = static_cast<Step*>(step)->negotiation.lock())
        self->LookForAnswer();
}

ElementPtr Negotiation::Webrtc() const {
    MutexLock lock(mutex_);
    return ElementPtr(webrtc_ == nullptr ? nullptr
                                         : static_cast<GstElement*>(g_object_ref(webrtc_.get())));
}

void Negotiation::OfferSet(const GstStructure*) {
    if (const ElementPtr webrtc = Webrtc())
        g_signal_emit_by_name(webrtc.get(), "create-answer", nullptr,
                              Then(&Negotiation::AnswerMade));
}

void Negotiation::AnswerMade(const GstStructure* reply) {
    GstWebRTCSessionDescription* answer = nullptr;
    if (reply != nullptr)
        gst_structure_get(reply, "answer", GST_TYPE_WEBRTC_SESSION_DESCRIPTION, &answer, nullptr);
    const DescriptionPtr owned(answer);
    const ElementPtr webrtc = Webrtc();
    if (owned == nullptr)
        Finish("", "there is no answer to the offer");
    else if (webrtc != nullptr)
        g_signal_emit_by_name(webrtc.get(), "set-local-description", owned.get(),
                              Then(&Negotiation::AnswerSet));
}

void Negotiation::AnswerSet(const GstStructure*) {
    LookForAnswer();
}

void Negotiation::LookForAnswer() {
    const ElementPtr webrtc = Webrtc();
    if (webrtc == nullptr || !HasGathered(webrtc.get()))
        return;
    GstWebRTCSessionDescription* local = nullptr;
    g_object_get(webrtc.get(), "local-description", &local, nullptr);
    const DescriptionPtr owned(local);
    if (owned == nullptr)
        return;
    const TextPtr text(gst_sdp_message_as_text(owned->sdp));
    Finish(text.get(), "");
}

void Negotiation::Finish(const std::string& answer, const std::string& problem) {
    Done done;
    {
        MutexLock lock(mutex_);
        done = std::exchange(done_, nullptr);
    }
    if (done)
        done(answer, problem);
}

}  // namespace vms::whep
