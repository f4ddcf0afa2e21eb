#pragma once

#include <cstdint>
#include <string>

#include "drivers/httpdevice/sources/DeviceFrame.h"
#include "platform/ReusableBuffer.h"
#include "videodevice/IStreamCallback.h"

namespace vms::httpdevice {

/// Turns frames of a device into media units and hands them to a sink. Thread-bound.
class UnitBuffer {
public:
    /// @param data the whole frame, `length` bytes. @param originMs timestamp 0 of the units, ms
    ///        since the epoch; what lies before it gets 0
    void Deliver(IStreamCallback& sink, const std::string& key, const DeviceFrame& frame,
                 const char* data, int length, int64_t originMs);

private:
    ReusableBuffer memory_;
};

}  // namespace vms::httpdevice
