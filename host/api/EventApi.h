#pragma once

#include <memory>

#include "host/api/EventStreams.h"
#include "host/http/HttpRouter.h"
#include "host/status/EventLog.h"

namespace vms::host {

/// GET /api/events: what happens, as server-sent events, from now on or from the event that
/// Last-Event-ID names. GET /api/events/log: what has happened, newest first, by pages.
/// Thread-safe.
class EventApi {
public:
    /// @param log must outlive this object
    explicit EventApi(EventLog& log, const EventStreamLimits& limits = {})
        : log_(log), streams_(log, limits) {}

    /// Adds the routes; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router);

private:
    void Watch(const HttpRequest& request, const std::shared_ptr<HttpReply>& reply);
    void Find(const HttpRequest& request, HttpReply& reply);

    EventLog& log_;
    EventStreams streams_;
};

}  // namespace vms::host
