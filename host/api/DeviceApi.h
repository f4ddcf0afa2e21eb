#pragma once

#include <memory>
#include <string>

#include "host/api/ApiError.h"
#include "host/api/DeviceAsker.h"
#include "host/http/HttpRouter.h"
#include "host/modules/DeviceLists.h"
#include "host/status/EventLog.h"

namespace vms::host {

class ApiFields;

/// GET and POST /api/devices, GET, PATCH and DELETE /api/devices/ID, POST /api/devices/test, and
/// what a device tells of itself: GET /api/devices/ID/capability, /permission, /connection, GET and
/// PUT /time and /channels. Passwords go in and never come out. Thread-safe.
class DeviceApi {
public:
    /// All must outlive this object; @param events null = nobody is told of changes
    DeviceApi(DeviceLists& devices, DeviceAsker& asker, EventLog* events)
        : devices_(devices), asker_(asker), events_(events) {}

    /// Adds the routes; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router);

private:
    using Reply = std::shared_ptr<HttpReply>;

    void List(const HttpRequest& request, const Reply& reply) const;
    void Add(const HttpRequest& request, const Reply& reply);
    void Test(const HttpRequest& request, const Reply& reply);
    void ServeDevice(const HttpRequest& request, const Reply& reply);
    void Show(const std::string& id, HttpReply& reply) const;
    void Change(const std::string& id, const HttpRequest& request, const Reply& reply);
    void Remove(const std::string& id, const Reply& reply);
    /// Of no object, since it may be there no longer.
    static void Answer(const DeviceLists& devices, EventLog* events, const ChangeOutcome& outcome,
                       const std::string& id, const char* event, int status, HttpReply& reply);
    std::string PickModule(const ApiFields& fields) const;

    DeviceLists& devices_;
    DeviceAsker& asker_;
    EventLog* const events_;
};

}  // namespace vms::host
