#pragma once

#include "host/BusClient.h"
#include "host/DeviceLists.h"
#include "host/StatusBoard.h"
#include "host/api/CommandApi.h"
#include "host/http/HttpRouter.h"
#include "host/stream/StreamServer.h"

namespace vms {

/// The host's HTTP API: POST /api/commands, GET /api/devices, /api/status, /api/streams, /metrics
/// and /healthz. Thread-safe.
class HostApi {
public:
    /// All must outlive this object.
    HostApi(BusClient& bus, const DeviceLists& devices, const StatusBoard& board,
            const StreamServer& streams);

    void Serve(const HttpRequest& request, HttpReply& reply) const {
        router_.Serve(request, reply);
    }

private:
    CommandApi commands_;
    HttpRouter router_;
};

}  // namespace vms
