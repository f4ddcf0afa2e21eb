#pragma once

#include <memory>

#include "host/api/Talkers.h"
#include "host/http/BodyBudget.h"
#include "host/http/HttpRouter.h"
#include "host/players/PlayerContext.h"

namespace vms::host {

/// WebSocket /api/talk: whoever connects talks to a device, see TalkPlayer. Thread-safe.
class TalkApi {
public:
    /// @param context, budget of the host's players; both must outlive all talkers
    TalkApi(PlayerContext& context, BodyBudget& budget) : context_(context), budget_(budget) {}

    /// Adds the route; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router) const;

private:
    PlayerContext& context_;
    BodyBudget& budget_;
    const std::shared_ptr<Talkers> talkers_ = std::make_shared<Talkers>();
};

}  // namespace vms::host
