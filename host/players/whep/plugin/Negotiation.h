#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/players/whep/plugin/GstPointers.h"
#include "platform/Mutex.h"

namespace vms::whep {

/// Has a webrtcbin answer an offer: the offer is set, an answer made and set, and given out once
/// the addresses to receive at are in it. Shared: what is under way keeps it. Thread-safe.
class Negotiation : public std::enable_shared_from_this<Negotiation> {
public:
    /// Is given the answer, or nothing and the reason. Called once, on a thread of webrtcbin's;
    /// must not wait.
    using Done = std::function<void(const std::string& answer, const std::string& problem)>;

    explicit Negotiation(Done done) : done_(std::move(done)) {}

    /// Once. The pipeline must be playing. @param webrtc is kept until Stop
    void Start(GstElement* webrtc, const std::string& offer) VMS_EXCLUDES(mutex_);

    /// Calls nobody from now on; what is under way comes to nothing.
    void Stop() VMS_EXCLUDES(mutex_);

private:
    /// Follows one step; its reply is null when the step has no result.
    using Next = void (Negotiation::*)(const GstStructure* reply);
    struct Step;

    GstPromise* Then(Next next);
    static void OnReply(GstPromise* promise, gpointer step);
    static void OnGathering(GstElement* webrtc, GParamSpec*, gpointer step);

    ElementPtr Webrtc() const VMS_EXCLUDES(mutex_);
    void OfferSet(const GstStructure* reply);
    void AnswerMade(const GstStructure* reply);
    void AnswerSet(const GstStructure* reply);
    void LookForAnswer();
    void Finish(const std::string& answer, const std::string& problem) VMS_EXCLUDES(mutex_);

    mutable Mutex mutex_;
    Done done_ VMS_GUARDED_BY(mutex_);          ///< null = has been called, or must not be
    ElementPtr webrtc_ VMS_GUARDED_BY(mutex_);  ///< null = stopped
    gulong gathering_ VMS_GUARDED_BY(mutex_) = 0;
};

}  // namespace vms::whep
