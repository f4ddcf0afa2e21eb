#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "host/config/Role.h"
#include "host/net/Bursts.h"
#include "host/net/Connection.h"
#include "host/players/PlayerTable.h"
#include "host/relay/RelayTable.h"
#include "host/stream/Lanes.h"
#include "host/stream/Receiver.h"
#include "host/stream/ReceiverTable.h"
#include "host/stream/StreamModules.h"
#include "platform/Mutex.h"

class ILogHandler;

namespace vms::host {

/// Counts of all players since the server's start.
struct StreamTotals {
    std::atomic<uint64_t> players{0};      ///< that ever connected
    std::atomic<uint64_t> requests{0};     ///< of players
    std::atomic<uint64_t> slowPlayers{0};  ///< given up for being too slow
};

/// What all players share; outlives them.
struct PlayerContext {
    StreamModules& modules;
    ReceiverTable& receivers;
    RelayTable& relays;
    PlayerTable& players;
    Bursts& bursts;
    Lanes& lanes;  ///< where the modules hear of the players
    ILogHandler& log;
    StreamTotals& totals;
    std::function<void(const std::string& key)> onStart;  ///< a player asks for a stream
};

/// One player over WebSocket, without its transport: what it asks, in order, on a lane of its own.
/// To live streams it is attached through their relays; everything else goes to the modules under
/// its own number. Thread-safe, except for what says otherwise.
class WebSocketPlayer final : public Receiver,
                              public Player,
                              public std::enable_shared_from_this<WebSocketPlayer> {
public:
    /// @param role what it may ask: what it may not is answered -1, its talk audio dropped
    WebSocketPlayer(std::shared_ptr<Connection> connection, PlayerContext& context, Role role);

    // On the I/O thread, by the transport:

    /// The connection stands. @return false: the server is ending, go silently
    bool Opened(const Peer& peer);

    /// A frame has come. @param done called on the lane when the modules are through with it
    void Received(std::string frame, bool isText, std::function<void()> done);

    /// The connection is gone; once or more often.
    void Gone(int code, const std::string& reason);

    void CountTooSlow();

    // On any thread:
    long long Number() const override { return number_; }
    bool SendUnit(std::string_view unit, bool isPlayback) override;
    bool SendCommand(const __tagTvCommand& command) override;
    int QueuedUnits() const override;
    void Close(const std::string& reason) override { connection_->AskToEnd(reason); }
    PlayerInfo Describe() const override VMS_EXCLUDES(mutex_);
    SendCounts Counts() const override { return connection_->Counts(); }

private:
    void HandleText(const std::string& frame) VMS_EXCLUDES(mutex_);
    void Answer(const PlayerRequest& request, int result);
    int Carry(const PlayerRequest& request);
    void StartLive(const PlayerRequest& request);
    bool StopLive(const std::string& key);
    void LeaveLive();
    bool SendText(const std::string& text);

    const std::shared_ptr<Connection> connection_;
    PlayerContext& context_;
    const std::shared_ptr<Lane> lane_;
    const long long number_;
    const Role role_;
    // Constant once opened:
    Peer peer_;
    std::time_t since_ = 0;
    // Of the I/O thread:
    bool opened_ = false;
    bool gone_ = false;
    // Of the lane:
    std::shared_ptr<Relay> live_;  ///< the live stream it is attached to

    mutable Mutex mutex_;
    std::string key_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
