#include "host/modules/BusPost.h"

#include <utility>

#include "platform/CommandPtr.h"

namespace vms::host {

int64_t PostRequest(ICommandBus& bus, const BusRequest& request, ICommandBus::Callback onResponse,
                    std::function<void(bool threw)> onHandled) {
    const CommandPtr record(
        SysCommandHelper::CreateRequestCommand(request.id, "vmshost", request.deviceId.c_str(),
                                               request.body.c_str(), request.module.c_str()));
    return bus.Post(request.module.c_str(), *record, std::move(onResponse), std::move(onHandled));
}

Answer RefusedAnswer(int64_t postResult) {
    const bool full = postResult == ICommandBus::kQueueFull;
    return {full ? Answer::Kind::kQueueFull : Answer::Kind::kNoHandler, 0, {}};
}

}  // namespace vms::host
