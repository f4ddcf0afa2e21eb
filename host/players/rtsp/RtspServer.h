#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "host/net/DropPolicy.h"
#include "host/net/IoThread.h"
#include "host/net/Wire.h"
#include "host/players/PlayerContext.h"
#include "host/players/rtsp/RtspAccess.h"

namespace vms::host {

struct RtspSettings {
    size_t connections = 4096;               ///< at most
    size_t udpPlayers = 1024;                ///< of them over UDP, each with two ports for a track
    std::chrono::milliseconds idle{30'000};  ///< longest time without a session
    std::chrono::milliseconds request{10'000};  ///< from its first byte to its last
    std::chrono::milliseconds session{60'000};  ///< longest time in which a player neither asks nor
                                                ///< reports, nor takes anything over TCP
    std::chrono::milliseconds open{12'000};     ///< longest wait for a stream's first pictures
    std::chrono::milliseconds unread{30'000};   ///< longest time in which a player takes nothing of
                                                ///< what waits for it
    std::chrono::milliseconds tick{1'000};      ///< how often that is looked at
    SendLimits send;                            ///< of each connection
};

/// Serves RTSP 1.0 (RFC 2326) to any number of players, each on the I/O thread of its wire: live
/// streams and recordings, inside the connection or over UDP. No player holds a thread.
///
/// Beyond the bound of connections a newcomer takes the place of the one that has been longest
/// without a session; when all have one it is turned away.
///
/// Thread-safe.
class RtspServer {
public:
    /// @param context, access must outlive this object's Stop
    RtspServer(PlayerContext& context, RtspAccess& access, const RtspSettings& settings = {});

    /// Stops unless that has been done.
    ~RtspServer();
    RtspServer(const RtspServer&) = delete;
    RtspServer& operator=(const RtspServer&) = delete;

    /// Serves a player from here on. On the wire's I/O thread, which must run until Stop returns.
    void Serve(std::unique_ptr<Wire> wire, IoThread& io);

    /// Closes all connections and takes no new ones. Returns once they are closed. Not on an I/O
    /// thread.
    void Stop();

    size_t Connections() const;

private:
    class Impl;
    const std::unique_ptr<Impl> impl_;
};

}  // namespace vms::host
