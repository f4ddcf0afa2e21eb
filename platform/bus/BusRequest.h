#pragma once

#include <cstdint>
#include <string>

#include "module/CommandRecord.h"

namespace vms {

struct BusModule;

/// A request on its way to a handler. The handler may write into the record, so what the bus needs
/// afterwards is kept beside it.
struct BusRequest {
    __tagTvCommand record;
    BusModule* module = nullptr;  ///< stays until its requests are finished
    int64_t serial = 0;
    std::string deviceId;        ///< requests that share it run in order; empty = none
    bool reportHandled = false;  ///< somebody wants to hear when the handler has ended
};

}  // namespace vms
