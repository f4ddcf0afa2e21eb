#pragma once

#include <string>
#include <string_view>

#include "module/CommandRecord.h"

namespace vms::host {

/// Whom modules send media to, by a number. Thread-safe; no call waits.
class Receiver {
public:
    virtual ~Receiver() = default;

    /// Constant; from 1 up, and nobody else's.
    virtual long long Number() const = 0;

    /// @param isPlayback nothing may be dropped
    /// @return false when the receiver has been given up or is gone
    virtual bool SendUnit(std::string_view unit, bool isPlayback) = 0;

    /// @return false as above
    virtual bool SendCommand(const __tagTvCommand& command) = 0;

    /// Media units that wait.
    virtual int QueuedUnits() const = 0;

    /// Ends it; modules hear of that. @param reason ASCII, at most 100 bytes
    virtual void Close(const std::string& reason) = 0;
};

}  // namespace vms::host
