#pragma once

#include <memory>

#include "host/api/ApiError.h"
#include "host/api/DeviceAsker.h"
#include "host/http/HttpRouter.h"

namespace vms::host {

/// GET /api/records: the recordings of a channel in a range of time, by pages. GET
/// /api/record-days: the days of a month that have any. Thread-safe.
class RecordApi {
public:
    /// @param asker must outlive this object
    explicit RecordApi(DeviceAsker& asker) : asker_(asker) {}

    /// Adds the routes; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router);

private:
    void Search(const HttpRequest& request, const std::shared_ptr<HttpReply>& reply);
    void Days(const HttpRequest& request, const std::shared_ptr<HttpReply>& reply);

    DeviceAsker& asker_;
};

}  // namespace vms::host
