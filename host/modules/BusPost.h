#pragma once

#include <cstdint>
#include <functional>

#include "host/modules/BusClient.h"

namespace vms::host {

/// Posts a request of the host. @return as ICommandBus::Post
int64_t PostRequest(ICommandBus& bus, const BusRequest& request, ICommandBus::Callback onResponse,
                    std::function<void(bool threw)> onHandled);

/// What the asker is told when Post has refused. @param postResult not positive
Answer RefusedAnswer(int64_t postResult);

}  // namespace vms::host
