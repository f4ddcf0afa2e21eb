#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "host/players/whep/WhepPlugin.h"
#include "host/players/whep/plugin/Negotiation.h"
#include "host/players/whep/plugin/RtpFeed.h"

namespace vms::whep {

/// The pipeline of one session. Open, Look and Close are the worker's; the rest is thread-safe.
class Peer : public std::enable_shared_from_this<Peer> {
public:
    using Clock = std::chrono::steady_clock;

    /// A browser's offer is answered within that time.
    static constexpr std::chrono::seconds kAnswerPatience{5};
    /// It then comes within that time.
    static constexpr std::chrono::seconds kConnectPatience{15};
    /// A browser reports what it receives at least every few seconds. Whoever is silent for longer
    /// has gone, which is noticed a second later at the most.
    static constexpr std::chrono::seconds kSilence{8};
    /// What is on its way when a session ends has that long to go.
    static constexpr std::chrono::milliseconds kDrain{100};

    explicit Peer(std::shared_ptr<SessionEvents> events) : events_(std::move(events)) {}

    /// Builds the pipeline, and has the offer answered. Reports what is wrong.
    /// @param problem why no pipeline can be built, "" = nothing is known against it
    void Open(const SessionRequest& request, const std::string& problem);
    /// Ends a session whose browser has gone.
    void Look(Clock::time_point now);
    /// Ends the pipeline, and waits for its threads. Reports nothing.
    void Close();

    void Push(const MediaUnit& unit, int64_t timeMs);
    size_t WaitingBytes() const;

    /// Nobody wants it any more. Any thread.
    void Drop() { isDropped_ = true; }
    bool IsDropped() const { return isDropped_; }

private:
    template <class Function>
    void Connect(gpointer object, const char* signal, Function* handler);

    static GstBusSyncReply OnMessage(GstBus*, GstMessage* message, gpointer peer);
    static void OnElementAdded(GstBin*, GstBin*, GstElement* element, gpointer peer);
    static void OnConnectionState(GstElement* webrtc, GParamSpec*, gpointer peer);
    static GstPadProbeReturn OnPacket(GstPad*, GstPadProbeInfo*, gpointer peer);

    bool Build(const SessionRequest& request);
    bool SetUpIce(const SessionRequest& request) const;
    void OnAnswer(const std::string& answer, const std::string& problem);
    void OnConnected();
    void End(const std::string& reason);
    void Drain() const;

    const std::shared_ptr<SessionEvents> events_;
    Clock::time_point opened_ = Clock::now();
    ElementPtr pipeline_;
    GstElement* webrtc_ = nullptr;  ///< the pipeline's
    std::unique_ptr<RtpFeed> video_;
    std::unique_ptr<RtpFeed> audio_;
    std::shared_ptr<Negotiation> negotiation_;
    std::atomic<bool> isAnswered_{false};
    std::atomic<bool> isConnected_{false};
    std::atomic<bool> isOver_{false};
    std::atomic<bool> isDropped_{false};
    std::atomic<Clock::rep> lastPacket_{0};
    std::optional<int64_t> offsetNs_;  ///< of the pushing thread: running time less theirs
};

}  // namespace vms::whep
