#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/net/Connection.h"
#include "host/players/PlayerCard.h"
#include "host/players/PlayerTable.h"
#include "host/players/rtsp/UdpFlow.h"
#include "host/sources/StreamAddress.h"

namespace vms::host {

/// One RTSP player as media sees it: what goes to it goes inside its connection or over UDP.
/// Thread-safe, except for what says otherwise.
class RtspPlayer final : public Player {
public:
    /// @param udp  where media goes, null = inside the connection
    /// @param name, stream what is watched, for users
    RtspPlayer(std::shared_ptr<Connection> connection, std::shared_ptr<UdpFlow> udp,
               long long number, Peer peer, std::string name, StreamAddress stream);

    /// Null when media goes inside the connection.
    const std::shared_ptr<UdpFlow>& Udp() const { return udp_; }
    const std::shared_ptr<Connection>& Tcp() const { return connection_; }

    /// Answers a request, behind the media that waits.
    void Answer(const std::string& text) { connection_->SendRaw(text); }

    /// A live stream begins: what the player is given to begin with, then SendLive. Over TCP to be
    /// flushed afterwards. @param holds pictures are of no use before the next key picture
    void BeginLive(const std::vector<Chunk>& prelude, bool holds);

    /// Packets that must not be dropped. @return false when the player is gone
    bool SendWhole(std::string packets, UnitKind kind);
    /// Packets of RTCP.
    void SendControl(std::string packets);

    bool IsGone() const { return connection_->IsGivenUp(); }

    // As the table has it:
    long long Number() const override { return card_.number; }
    PlayerInfo Describe() const override;
    SendCounts Counts() const override;
    void Close(const std::string& reason) override { connection_->AskToEnd(reason); }

private:
    const std::shared_ptr<Connection> connection_;
    const std::shared_ptr<UdpFlow> udp_;
    const std::string name_;
    const PlayerCard card_;
};

}  // namespace vms::host
