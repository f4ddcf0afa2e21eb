#pragma once

#include "module/CommandRecord.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/core/WorkerGroup.h"

namespace vms {

/// Tries a device that need not be configured. The only command that is answered after its handler
/// has returned: a device that does not answer must not hold a bus worker.
class DeviceTest {
public:
    DeviceTest(ModuleContext& context, WorkerGroup& workers)
        : context_(context), workers_(workers) {}

    void Start(const __tagTvCommand* command);

private:
    void Run(const std::string& body, __tagTvCommand& response);

    ModuleContext& context_;
    WorkerGroup& workers_;
};

}  // namespace vms
