#pragma once

#include <functional>
#include <string>
#include <utility>
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

/// What a host is. Constant while it serves.
struct HostFacts {
    std::string version;
    int rtspPort = 0;       ///< 0 = no RTSP
    bool isSecure = false;  ///< HTTPS
};

/// The host's HTTP API: POST /api/commands, GET /api/devices, /api/status, /api/streams, /metrics
/// /api/host and /healthz. Thread-safe.
class HostApi {
public:
    /// All must outlive this object.
    HostApi(BusClient& bus, const DeviceLists& devices, const StatusBoard& board,
            PlayerFigures players);

    /// Adds the routes; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router) const;

    /// Before the first request.
    void SetFacts(HostFacts facts) { facts_ = std::move(facts); }

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
    HostFacts facts_;
};

}  // namespace vms::host
