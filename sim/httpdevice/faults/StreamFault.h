#pragma once

#include "sim/httpdevice/faults/DeviceFault.h"
#include "sim/httpdevice/media/ConnectionLogic.h"

namespace vms::sim::httpdevice {

/// Lets the faults of a device loose on what one connection sends.
class StreamFault {
public:
    explicit StreamFault(const FaultBoard& faults) : faults_(faults) {}

    void Apply(Batch& batch);

private:
    void Rewrite(std::vector<OutMessage>& messages) const;
    /// Ends the batch behind the frame after which the connection is to break.
    void Cut(Batch& batch);

    const FaultBoard& faults_;
    long long sent_ = 0;
    bool hugeSent_ = false;
};

}  // namespace vms::sim::httpdevice
