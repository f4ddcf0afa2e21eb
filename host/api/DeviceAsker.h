#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/api/ApiWorker.h"
#include "host/api/DeviceShares.h"
#include "host/http/HttpExchange.h"
#include "host/modules/BusClient.h"
#include "host/modules/DeviceLists.h"

namespace vms::host {

/// Asks the module of a device, and answers the client with what came of it: 404 = there is no such
/// device, 501 = its module has no such command, 502 = it failed, 503 = too many requests wait, 504
/// = no answer in time. A device has a share of what may wait. Thread-safe; nothing waits.
class DeviceAsker {
public:
    struct Question {
        std::string device;
        __enumTvCommand id;
        std::string body;
        std::string failure;  ///< what is said when the module answers that it failed
    };

    /// Makes the client's answer of the module's; may throw ApiError. Not on a bus thread when the
    /// module's answer is long.
    using Then = std::function<HttpResponse(const std::string& body)>;

    /// Told how it ended, whatever came. On a thread of the bus, or inside the call; must not wait.
    using Outcome = std::function<void(const Answer&)>;

    /// All must outlive this object. @param shares shared with whoever asks modules for clients
    DeviceAsker(BusClient& bus, const DeviceLists& devices, std::shared_ptr<DeviceShares> shares)
        : bus_(bus), devices_(devices), shares_(std::move(shares)) {}

    /// @throws ApiError
    void Ask(Question question, const std::shared_ptr<HttpReply>& reply, Then then,
             Outcome outcome = {});

    /// The same of a module, for no device of its own. @param share whose part of what may wait
    /// @throws ApiError
    void AskModule(const std::string& module, const std::string& share, Question question,
                   const std::shared_ptr<HttpReply>& reply, Then then, Outcome outcome = {});

    /// @throws ApiError 404
    std::string ModuleOf(const std::string& device) const;

private:
    BusClient& bus_;
    const DeviceLists& devices_;
    const std::shared_ptr<DeviceShares> shares_;
    const std::shared_ptr<ApiWorker> worker_ = std::make_shared<ApiWorker>();
};

/// {"…": …} with 200.
HttpResponse JsonAnswer(const Json::Value& value);

/// 204
HttpResponse EmptyAnswer();

}  // namespace vms::host
