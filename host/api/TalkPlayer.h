#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "host/api/Talkers.h"
#include "host/net/Connection.h"
#include "host/players/PlayerContext.h"
#include "host/players/PlayerTable.h"
#include "host/players/websocket/WebSocketUser.h"
#include "host/sources/LiveStreams.h"
#include "host/stream/Lanes.h"
#include "host/stream/Receiver.h"

namespace vms::host {

/// Somebody who talks to a device over a WebSocket at /api/talk?device=&channel=&codec=: binary
/// frames are G.711 sound of 8 kHz, A-law or (codec=mulaw) mu-law. {"state": "talking"} says that
/// the device is ready; what comes before waits. What goes wrong is told as {"error": text}, and by
/// the close frame. To the modules it is a player of its own. Thread-safe.
class TalkPlayer final : public Receiver,
                         public Player,
                         public WebSocketUser,
                         public std::enable_shared_from_this<TalkPlayer> {
public:
    static constexpr size_t kLongestFrame = size_t{64} << 10;  ///< bytes
    static constexpr size_t kBytesPerSecond = 8000;
    /// Sound may come so much faster than it is spoken.
    static constexpr std::chrono::seconds kAhead{30};

    /// @param query of the request
    TalkPlayer(std::shared_ptr<Connection> connection, PlayerContext& context,
               const std::shared_ptr<Talkers>& talkers,
               const std::map<std::string, std::string>& query);

    bool Opened(const Peer& peer) override;
    std::string Begin() override;
    void Received(std::string frame, bool isText, std::function<void()> done) override;
    void Gone(int code, const std::string& reason) override;
    void CountTooSlow() override {}

    long long Number() const override { return number_; }
    bool SendUnit(std::string_view, bool) override { return true; }  // nobody listens
    bool SendCommand(const __tagTvCommand&) override { return true; }
    int QueuedUnits() const override { return 0; }
    void Close(const std::string& reason) override { connection_->AskToEnd(reason); }
    PlayerInfo Describe() const override;
    SendCounts Counts() const override { return connection_->Counts(); }

private:
    using Clock = std::chrono::steady_clock;

    struct Frame {
        std::string sound;
        std::function<void()> done;
    };

    void SendText(const std::string& text);

    // On the lane:
    void Fail(const std::string& problem);
    void Attach(const std::shared_ptr<LiveShare>& share, const SourceProblem& problem);
    void Take(Frame frame);
    void Say(Frame frame);
    void Leave(int code, const std::string& reason);

    const std::shared_ptr<Connection> connection_;
    PlayerContext& context_;
    const std::shared_ptr<Talkers> talkers_;
    const std::shared_ptr<Lane> lane_;
    const long long number_;
    StreamAddress address_;
    std::string codec_;    ///< as modules number it; constant
    std::string problem_;  ///< with the request, "" = none; constant
    // Constant once opened:
    Peer peer_;
    std::time_t since_ = 0;
    // Of the I/O thread:
    bool opened_ = false;
    bool gone_ = false;
    // Of the lane:
    std::shared_ptr<void> place_;       ///< among the talkers
    std::shared_ptr<LiveShare> share_;  ///< modules talk beside a live stream
    bool left_ = false;
    bool failed_ = false;      ///< the connection has been asked to end
    std::deque<Frame> early_;  ///< until the device is ready; the session bounds it
    Clock::time_point begun_{};
    size_t said_ = 0;  ///< bytes
};

}  // namespace vms::host
