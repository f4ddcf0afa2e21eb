#pragma once

#include <functional>
#include <vector>

#include "host/api/CommandApi.h"
#include "host/http/HttpRouter.h"
#include "host/modules/BusClient.h"
#include "host/modules/DeviceLists.h"
#include "host/players/PlayerInfo.h"
#include "host/status/StatusBoard.h"

namespace vms::host {

/// How the API learns of the players. Both are called on any thread and must not wait.
struct PlayerFigures {
    std::function<std::vector<PlayerInfo>()> all;
    std::function<StreamSummary()> summary;
};

/// The host's HTTP API: POST /api/commands, GET /api/devices, /api/status, /api/streams, /metrics
/// and /healthz. Thread-safe.
class HostApi {
public:
    /// All must outlive this object.
    HostApi(BusClient& bus, const DeviceLists& devices, const StatusBoard& board,
            PlayerFigures players);

    /// Adds the routes; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router) const;

    /// @param expect as for CommandApi::SetExpect
    void SetExpect(std::function<void(const std::string& key)> expect) {
        commands_.SetExpect(std::move(expect));
    }

    /// A player has come for the stream of that key. Any thread.
    void StreamWatched(const std::string& key) const { commands_.Watched(key); }

private:
    CommandApi commands_;
    const DeviceLists& devices_;
    const StatusBoard& board_;
    const PlayerFigures players_;
};

}  // namespace vms::host
