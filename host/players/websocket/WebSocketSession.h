#pragma once

#include <map>
#include <memory>
#include <string>

#include "host/http/BodyBudget.h"
#include "host/net/Connection.h"
#include "host/players/websocket/WebSocketPlayer.h"
#include "host/players/websocket/WebSocketUser.h"

namespace vms::host {

/// Speaks WebSocket with a player from its request to upgrade on. Called on the connection's I/O
/// thread; the session keeps itself alive.
/// @param head   the request's header as it came, up to and including the blank line
/// @param read   what has come after it
/// @param query  of the request: with "device", "channel" and perhaps "stream" the player watches
///               that live stream from the beginning; without a device it asks by keys
/// @param budget of what is received and not yet through; must outlive the session
/// @param role   what the player may do
void StartWebSocketSession(std::shared_ptr<Connection> connection, const std::string& head,
                           std::string read, const std::map<std::string, std::string>& query,
                           PlayerContext& context, BodyBudget& budget, Role role);

/// The same for whatever else speaks over WebSocket.
void StartWebSocketSession(std::shared_ptr<Connection> connection, const std::string& head,
                           std::string read, std::shared_ptr<WebSocketUser> user,
                           BodyBudget& budget);

}  // namespace vms::host
