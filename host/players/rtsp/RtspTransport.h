#pragma once

#include <string>
#include <string_view>

namespace vms::host {

/// How a player wants to be sent a track (RFC 2326, 12.39).
struct RtspTransport {
    bool isTcp = true;  ///< inside the connection
    int rtpPort = 0;    ///< of the player, for UDP
    int rtcpPort = 0;
};

/// Chooses from the offers of a Transport header.
/// @param peer numeric address of the player: nothing is sent to anybody else
/// @return 200; 461 when nothing of it can be done; 403 for a port or an address that is not the
///         player's
int ChooseRtspTransport(std::string_view header, std::string_view peer, RtspTransport& transport);

}  // namespace vms::host
