#pragma once

#include <memory>
#include <set>
#include <string>

#include "platform/Mutex.h"

namespace vms::host {

/// Who talks: one at a time to a device, whose loudspeaker plays one voice. Thread-safe.
class Talkers : public std::enable_shared_from_this<Talkers> {
public:
    /// @return a place that is given back when it is dropped; null = somebody talks already
    std::shared_ptr<void> Take(const std::string& device) VMS_EXCLUDES(mutex_);

private:
    void GiveBack(const std::string& device) VMS_EXCLUDES(mutex_);

    Mutex mutex_;
    std::set<std::string> devices_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
