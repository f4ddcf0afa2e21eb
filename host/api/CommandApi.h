#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "host/api/DeviceShares.h"
#include "host/api/UnwatchedStreams.h"
#include "host/http/HttpExchange.h"
#include "host/modules/BusClient.h"

namespace vms::host {

/// POST /api/commands {"module", "id", "deviceId", "body"}: posts a command and answers {"result",
/// "body"}. "id" is a number or a text such as "0x10010a"; "body" a text, or JSON that is sent as
/// text. The pages of a device search come a line each, as they are found.
///
/// Status 400 = no such request can be, or it has more than 100,000 JSON values, 404 = nobody
/// handles it, 502 = the handler threw, 503 = too many are waiting, in all or for this device
/// (without one: for this module), or this client has opened too many streams that nobody watches,
/// 504 = no answer in time. A request counts until its handler has returned, even if its client has
/// left. Thread-safe; no thread waits.
class CommandApi {
public:
    /// @param bus must outlive this object
    explicit CommandApi(BusClient& bus, BusClient::Duration patience = BusClient::kPatience,
                        const DeviceShares::Limits& limits = {})
        : CommandApi(bus, patience, std::make_shared<DeviceShares>(limits)) {}

    /// @param shares shared with whoever asks modules for clients
    CommandApi(BusClient& bus, BusClient::Duration patience, std::shared_ptr<DeviceShares> shares)
        : bus_(bus),
          patience_(patience),
          shares_(std::move(shares)),
          unwatched_(std::make_shared<UnwatchedStreams>()) {}

    void Serve(const HttpRequest& request, std::shared_ptr<HttpReply> reply) const;

    /// @param expect told the key of each live stream that has been opened, before the client is;
    ///               must not wait. Before the first request
    void SetExpect(std::function<void(const std::string& key)> expect) {
        expect_ = std::move(expect);
    }

    /// A player has come for a stream.
    void Watched(const std::string& key) const { unwatched_->Watched(key); }

private:
    std::function<void(const Answer&)> Noting(uint64_t stream, bool isLive) const;

    BusClient& bus_;
    const BusClient::Duration patience_;
    const std::shared_ptr<DeviceShares> shares_;
    const std::shared_ptr<UnwatchedStreams> unwatched_;
    std::function<void(const std::string&)> expect_ = [](const std::string&) {};
};

}  // namespace vms::host
