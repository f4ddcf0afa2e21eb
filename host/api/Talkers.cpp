#include "host/api/Talkers.h"

#include <utility>

namespace vms::host {

std::shared_ptr<void> Talkers::Take(const std::string& device) {
    MutexLock lock(mutex_);
    if (!devices_.insert(device).second)
        return nullptr;
    return {this, [self = shared_from_this(), device](void*) { self->GiveBack(device); }};
}

void Talkers::GiveBack(const std::string& device) {
    MutexLock lock(mutex_);
    devices_.erase(device);
}

}  // namespace vms::host
