#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/api/CommandApi.h"
#include "host/api/DeviceApi.h"
#include "host/api/DeviceAsker.h"
#include "host/api/EventApi.h"
#include "host/api/PtzApi.h"
#include "host/api/RecordApi.h"
#include "host/api/TalkApi.h"
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

/// The host's HTTP API: commands as modules have them (POST /api/commands), devices, recordings,
/// PTZ and events by plain names, GET /api/host, /api/status, /api/streams, /metrics and /healthz.
/// Thread-safe.
class HostApi {
public:
    /// All must outlive this object. @param events null = the host keeps none
    HostApi(BusClient& bus, DeviceLists& devices, const StatusBoard& board, PlayerFigures players,
            EventLog* events = nullptr);

    /// Adds the routes; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router);

    /// Before the first request.
    void SetFacts(HostFacts facts) { facts_ = std::move(facts); }

    /// @param expect as for CommandApi::SetExpect
    void SetExpect(std::function<void(const std::string& key)> expect) {
        commands_.SetExpect(std::move(expect));
    }

    /// Lets clients talk to devices and see faces; before AddTo. Both must outlive this object and
    /// all talkers.
    void SetPlayers(PlayerContext& context, BodyBudget& budget) {
        talk_.emplace(context, budget);
        if (events_)
            events_->SetPlayers(context);
    }

    /// A player has come for the stream of that key. Any thread.
    void StreamWatched(const std::string& key) const { commands_.Watched(key); }

private:
    const std::shared_ptr<DeviceShares> shares_;
    CommandApi commands_;
    DeviceLists& devices_;
    DeviceAsker asker_;
    DeviceApi deviceApi_;
    RecordApi records_;
    PtzApi ptz_;
    std::optional<EventApi> events_;
    std::optional<TalkApi> talk_;
    const StatusBoard& board_;
    const PlayerFigures players_;
    HostFacts facts_;
};

}  // namespace vms::host
