#pragma once

#include "host/BusClient.h"
#include "host/http/HttpExchange.h"

namespace vms {

/// POST /api/commands {"module", "id", "deviceId", "body"}: posts a command and answers {"result",
/// "body"}. "id" is a number or a text such as "0x10010a"; "body" a text, or JSON that is sent as
/// text. The pages of a device search come a line each, as they are found.
///
/// Status 400 = no such request can be, 404 = nobody handles it, 502 = the handler threw, 503 = too
/// many are waiting, 504 = no answer in time. Thread-safe; waits as long as the bus does.
class CommandApi {
public:
    /// @param bus must outlive this object
    explicit CommandApi(BusClient& bus, BusClient::Duration patience = BusClient::kPatience)
        : bus_(bus), patience_(patience) {}

    void Serve(const HttpRequest& request, HttpReply& reply) const;

private:
    void ServePages(const BusRequest& request, HttpReply& reply) const;

    BusClient& bus_;
    const BusClient::Duration patience_;
};

}  // namespace vms
