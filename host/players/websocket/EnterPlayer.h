#pragma once

#include <memory>
#include <string>

#include "host/net/Wire.h"
#include "host/players/PlayerContext.h"
#include "host/players/PlayerTable.h"
#include "host/stream/Lanes.h"
#include "host/stream/ReceiverTable.h"
#include "host/stream/StreamModules.h"

namespace vms::host {

/// A player that modules know by a number of its own comes: others see it from here on, and modules
/// hear of it on its lane. On any thread; does not wait.
/// @param player a Player and Receiver
/// @return false: the server is ending, and nobody has heard of the player
template <class Known>
[[nodiscard]] bool EnterPlayer(PlayerContext& context, Lane& lane,
                               const std::shared_ptr<Known>& player, const Peer& peer) {
    if (!context.players.Add(player))
        return false;
    context.receivers.Add(player);
    ++context.totals.players;
    lane.Post([&context, player, peer] {
        context.modules.OnConnect(player->Number(), peer.address, peer.port);
    });
    return true;
}

/// Its end, on its lane: it stays in the tables until the modules have heard of that.
inline void RemovePlayer(PlayerContext& context, long long number, int code,
                         const std::string& reason) {
    context.modules.OnClose(number, code, reason);
    context.receivers.Remove(number);
    context.players.Remove(number);
}

}  // namespace vms::host
