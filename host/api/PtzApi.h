#pragma once

#include <memory>
#include <string>

#include "host/api/ApiError.h"
#include "host/api/DeviceAsker.h"
#include "host/api/PtzMoves.h"
#include "host/http/HttpRouter.h"

namespace vms::host {

class ApiFields;
struct PtzAction;

/// POST /api/ptz moves a head or its lens, calls a preset, starts or stops a cruise; GET /api/ptz
/// tells the speed, PUT sets it. GET, PUT and DELETE /api/presets and /api/cruises. A movement ends
/// by itself when nobody ends it. Thread-safe.
class PtzApi {
public:
    /// Both must outlive this object.
    PtzApi(BusClient& bus, DeviceAsker& asker)
        : asker_(asker), moves_(std::make_shared<PtzMoves>(bus)) {}

    /// Adds the routes; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router);

private:
    using Reply = std::shared_ptr<HttpReply>;
    using Serve = void (PtzApi::*)(const HttpRequest&, const Reply&);

    void Act(const HttpRequest& request, const Reply& reply);
    void Move(const ApiFields& fields, const PtzAction& action, const Reply& reply);
    void Stop(const ApiFields& fields, const Reply& reply);
    void ReadSpeed(const HttpRequest& request, const Reply& reply);
    void SetSpeed(const HttpRequest& request, const Reply& reply);
    void ReadPresets(const HttpRequest& request, const Reply& reply);
    void PutPreset(const HttpRequest& request, const Reply& reply);
    void DeletePreset(const HttpRequest& request, const Reply& reply);
    void ReadCruise(const HttpRequest& request, const Reply& reply);
    void PutCruise(const HttpRequest& request, const Reply& reply);
    void DeleteCruise(const HttpRequest& request, const Reply& reply);

    /// Asks with a body of PtzBody.
    void Ask(const Json::Value& body, const char* failure, const Reply& reply,
             DeviceAsker::Then then, DeviceAsker::Outcome outcome = {});

    DeviceAsker& asker_;
    const std::shared_ptr<PtzMoves> moves_;
};

}  // namespace vms::host
