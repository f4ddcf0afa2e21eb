#include "host/players/whep/plugin/GstEngine.h"

#include <gst/gst.h>

#include <exception>
#include <string>
#include <utility>

#include "platform/ILogHandler.h"

namespace vms::whep {
namespace {

/// What pipelines are made of, beside the core.
constexpr const char* kElements[] = {"appsrc",      "webrtcbin", "nicesrc", "nicesink",
                                     "dtlssrtpenc", "srtpenc",   "rtpbin"};

}  // namespace

/// What the host holds of a session.
class GstEngine::Handle final : public Session {
public:
    Handle(GstEngine& engine, std::shared_ptr<Peer> peer)
        : engine_(engine), peer_(std::move(peer)) {}

    ~Handle() override {
        peer_->Drop();
        try {
            engine_.worker_->Post([&engine = engine_] { engine.CloseDropped(false); });
        } catch (const std::exception&) {  // the worker's next look finds it
        }
    }

    void Push(const MediaUnit& unit, int64_t timeMs) noexcept override {
        try {
            peer_->Push(unit, timeMs);
        } catch (const std::exception&) {  // no memory: the browser asks for a key picture
        }
    }

    size_t WaitingBytes() const noexcept override { return peer_->WaitingBytes(); }

private:
    GstEngine& engine_;
    const std::shared_ptr<Peer> peer_;
};

GstEngine::GstEngine(ILogHandler& log) : log_(log) {
    worker_ = std::make_unique<Worker>([this] { Look(); });
    worker_->Post([this] { WarmUp(); });
}

GstEngine::~GstEngine() {
    worker_->Post([this] { CloseDropped(true); });
    worker_.reset();
}

/// Loads what the first session would wait for.
void GstEngine::WarmUp() {
    GError* error = nullptr;
    if (!gst_init_check(nullptr, nullptr, &error)) {
        problem_ = error == nullptr ? "GStreamer does not start" : error->message;
        g_clear_error(&error);
    }
    for (const char* name : kElements) {
        const ElementPtr element(problem_.empty() ? gst_element_factory_make(name, nullptr)
                                                  : nullptr);
        if (element != nullptr)
            gst_object_ref_sink(element.get());
        else if (problem_.empty())
            problem_ = "GStreamer has no element " + std::string(name);
    }
    if (!problem_.empty())
        log_.Log(3, "Whep", "no WebRTC: %s", problem_.c_str());
}

std::shared_ptr<Session> GstEngine::Open(const SessionRequest& request,
                                         std::shared_ptr<SessionEvents> events) noexcept {
    try {
        auto peer = std::make_shared<Peer>(std::move(events));
        auto handle = std::make_shared<Handle>(*this, peer);
        worker_->Post([this, peer, request] { OpenPeer(peer, request); });
        return handle;
    } catch (const std::exception&) {
        return nullptr;
    }
}

void GstEngine::OpenPeer(const std::shared_ptr<Peer>& peer, const SessionRequest& request) {
    peers_.push_back(peer);
    peer->Open(request, problem_);
}

void GstEngine::Look() {
    const auto now = Peer::Clock::now();
    for (const auto& peer : peers_)
        peer->Look(now);
    CloseDropped(false);
}

void GstEngine::CloseDropped(bool all) {
    for (auto peer = peers_.begin(); peer != peers_.end();) {
        if (!all && !(*peer)->IsDropped()) {
            ++peer;
            continue;
        }
        (*peer)->Close();
        peer = peers_.erase(peer);
    }
}

}  // namespace vms::whep
