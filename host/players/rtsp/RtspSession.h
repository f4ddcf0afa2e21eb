#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/net/Connection.h"
#include "host/players/PlayerContext.h"
#include "host/players/rtsp/RtspPlayer.h"
#include "host/players/rtsp/RtspRequest.h"
#include "host/players/rtsp/RtspServer.h"
#include "host/players/rtsp/RtspSource.h"
#include "host/players/rtsp/RtspTarget.h"
#include "host/players/rtsp/RtspTransport.h"

namespace vms::host {

/// What all connections share.
struct RtspShared {
    PlayerContext& context;
    RtspAccess& access;
    const RtspSettings settings;
    std::atomic<size_t> udpPlayers{0};
};

/// What one player does in its connection, request by request: it has one stream described, sets
/// its tracks up and plays it. Of the connection's I/O thread.
class RtspSession : public std::enable_shared_from_this<RtspSession> {
public:
    using Clock = std::chrono::steady_clock;
    /// Takes the answer to a request; nothing = it has been sent. On the I/O thread.
    using Done = std::function<void(std::optional<RtspAnswer>)>;

    RtspSession(RtspShared& shared, std::shared_ptr<Connection> connection, Peer peer);
    ~RtspSession();
    RtspSession(const RtspSession&) = delete;
    RtspSession& operator=(const RtspSession&) = delete;

    /// One at a time. @param done called once, maybe inside
    void Handle(const RtspRequest& request, Done done);

    /// Once in a while.
    void Tick();

    /// Ends what there is. Once or more often.
    void End();

    /// Whether tracks have been set up.
    bool IsOpen() const { return player_ != nullptr; }

    /// When the player has last reported over UDP; nothing = media goes inside the connection.
    std::optional<Clock::time_point> HeardOverUdp() const;

private:
    void Describe(const RtspRequest& request, Done done);
    void SetUp(const RtspRequest& request, Done done);
    RtspAnswer SetUpTrack(const RtspRequest& request, const RtspTarget& target);
    int AddTrack(size_t track, const RtspTransport& transport, std::string& answer);
    int AddUdpTrack(size_t track, const RtspTransport& transport, std::string& answer);
    RtspAnswer Play(const RtspRequest& request, bool& isSent);
    RtspAnswer Pause(const RtspRequest& request);
    RtspAnswer TearDown(const RtspRequest& request);
    RtspAnswer Parameter(const RtspRequest& request) const;

    void Prepare(const RtspTarget& target, std::function<void(int, const std::string&)> ready);
    void OnReady(uint64_t attempt, int status, const std::string& text);
    std::unique_ptr<RtspSource> MakeSource(const RtspTarget& target) const;
    void EndPlayer();
    bool StartPlayer(const RtspTransport& transport);
    RtspAnswer Description(const RtspRequest& request) const;
    bool IsOther(const RtspRequest& request) const;
    RtspAnswer Success() const;

    RtspShared& shared_;
    const std::shared_ptr<Connection> connection_;
    const Peer peer_;

    // The stream that has been described or is being opened:
    RtspTarget target_;
    std::unique_ptr<RtspSource> source_;  ///< null = none
    bool isReady_ = false;
    std::function<void(int, const std::string&)> whenReady_;
    Clock::time_point openedAt_;
    uint64_t attempt_ = 0;  ///< counts the streams that have been opened

    // The session:
    std::string id_;
    std::shared_ptr<UdpFlow> udp_;
    std::shared_ptr<RtspPlayer> player_;  ///< null = no session
    unsigned tracks_ = 0;                 ///< that have been set up
    std::string uri_;                     ///< of the stream, as it was set up
    bool isPlaying_ = false;
};

}  // namespace vms::host
