#pragma once

#include <string>

#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/core/WorkerGroup.h"
#include "videodevice/streams/Retirement.h"
#include "videodevice/streams/StreamTable.h"

namespace vms {

/// Gives a live stream a new face source when the old one has lost its connection. One attempt a
/// call: pacing is the face source's business.
class FaceReconnect {
public:
    FaceReconnect(ModuleContext& context, DeviceTable& devices, StreamTable& streams,
                  Retirement& retirement, WorkerGroup& workers)
        : context_(context),
          devices_(devices),
          streams_(streams),
          retirement_(retirement),
          workers_(workers) {}

    /// Returns at once: called by the old source's own receive thread.
    void Start(const std::string& key);

private:
    void Run(const std::string& key);

    ModuleContext& context_;
    DeviceTable& devices_;
    StreamTable& streams_;
    Retirement& retirement_;
    WorkerGroup& workers_;
};

}  // namespace vms
