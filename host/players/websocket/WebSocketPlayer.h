#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "host/config/Role.h"
#include "host/net/Connection.h"
#include "host/players/PlayerContext.h"
#include "host/players/PlayerTable.h"
#include "host/players/websocket/WebSocketUser.h"
#include "host/relay/Relay.h"
#include "host/sources/LiveStreams.h"
#include "host/stream/Lanes.h"
#include "host/stream/PlayerRequest.h"
#include "host/stream/Receiver.h"
#include "platform/Mutex.h"

namespace vms::host {

/// One player over WebSocket, without its transport: what it asks, in order, on a lane of its own.
/// To live streams it is attached through their relays, by their keys or by an address; everything
/// else goes to the modules under its own number. Thread-safe, except for what says otherwise.
class WebSocketPlayer final : public Receiver,
                              public Player,
                              public WebSocketUser,
                              public std::enable_shared_from_this<WebSocketPlayer> {
public:
    /// @param role what it may ask: what it may not is answered -1, its talk audio dropped
    WebSocketPlayer(std::shared_ptr<Connection> connection, PlayerContext& context, Role role);

    /// Before the connection stands. @param query see StartWebSocketSession
    void SetQuery(const std::map<std::string, std::string>& query);

    // On the I/O thread, by the transport:
    bool Opened(const Peer& peer) override;
    std::string Begin() override;
    void Received(std::string frame, bool isText, std::function<void()> done) override;
    void Gone(int code, const std::string& reason) override;
    void CountTooSlow() override;

    // On any thread:
    long long Number() const override { return number_; }
    bool SendUnit(std::string_view unit, bool isPlayback) override;
    bool SendCommand(const __tagTvCommand& command) override;
    int QueuedUnits() const override;
    void Close(const std::string& reason) override { connection_->AskToEnd(reason); }
    PlayerInfo Describe() const override VMS_EXCLUDES(mutex_);
    SendCounts Counts() const override { return connection_->Counts(); }

private:
    void Watch(const StreamAddress& address);
    void HandleText(const std::string& frame) VMS_EXCLUDES(mutex_);
    void Answer(const PlayerRequest& request, int result);
    int Carry(const PlayerRequest& request);
    void StartLive(const PlayerRequest& request);
    void Join(std::shared_ptr<Relay> relay, bool isByAddress);
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
    bool watches_ = false;  ///< a stream by its address
    StreamAddress address_;
    std::string problem_;  ///< with the address, "" = none
    bool opened_ = false;
    bool gone_ = false;
    // Of the lane:
    std::shared_ptr<Relay> live_;  ///< the live stream it is attached to
    bool isByAddress_ = false;  ///< that stream was opened so, and is given back with the pointer
    bool left_ = false;         ///< the modules have heard of its end

    mutable Mutex mutex_;
    std::string key_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
