#include "host/api/TalkApi.h"

#include <utility>

#include "host/api/TalkPlayer.h"
#include "host/players/websocket/WebSocketSession.h"

namespace vms::host {

void TalkApi::AddTo(HttpRouter& router) const {
    router.AddUpgrade("/api/talk", [this](HttpUpgrade upgrade) {
        auto talker = std::make_shared<TalkPlayer>(upgrade.connection, context_, talkers_,
                                                   upgrade.request.query);
        StartWebSocketSession(std::move(upgrade.connection), upgrade.head, std::move(upgrade.read),
                              std::move(talker), budget_);
    });
}

}  // namespace vms::host
