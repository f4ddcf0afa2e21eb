#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/api/EventStreams.h"
#include "host/api/FaceWatch.h"
#include "host/http/HttpRouter.h"
#include "host/status/EventLog.h"

namespace vms::host {

/// GET /api/events: what happens, as server-sent events, from now on or from the event that
/// Last-Event-ID names. Clients may name channels whose faces become events meanwhile. GET
/// /api/events/log: what has happened, newest first, by pages. Thread-safe.
class EventApi {
public:
    /// @param log must outlive this object
    explicit EventApi(EventLog& log, const EventStreamLimits& limits = {})
        : log_(log), streams_(log, limits) {}

    /// Where faces come from; before the first request. Must outlive this object.
    void SetPlayers(PlayerContext& context) { faces_ = std::make_unique<FaceWatch>(context, log_); }

    /// Adds the routes; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router);

private:
    void Watch(const HttpRequest& request, const std::shared_ptr<HttpReply>& reply);
    void Find(const HttpRequest& request, HttpReply& reply);
    std::vector<std::shared_ptr<void>> WatchFaces(const std::string& channels) const;

    EventLog& log_;
    std::unique_ptr<FaceWatch> faces_;  ///< null = there are none; outlives the clients
    EventStreams streams_;
};

}  // namespace vms::host
