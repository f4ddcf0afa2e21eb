#include "host/players/http/KeyPictureOutlet.h"

#include <utility>

namespace vms::host {

void KeyPictureOutlet::Want(const std::shared_ptr<KeyPictureWaiter>& waiter) {
    MutexLock lock(mutex_);
    if (newest_)
        waiter->Give(*newest_);
    else
        waiting_.push_back(waiter);
}

bool KeyPictureOutlet::Withdraw(const KeyPictureWaiter& waiter) {
    MutexLock lock(mutex_);
    return std::erase_if(waiting_, [&](const auto& waiting) { return waiting.get() == &waiter; }) >
           0;
}

void KeyPictureOutlet::Take(const MediaUnit& unit) {
    MutexLock lock(mutex_);
    ++takenUnits_;
    if (unit.Kind() != UnitKind::kKeyPicture)
        return;
    newest_ = unit;
    for (const auto& waiter : std::exchange(waiting_, {}))
        waiter->Give(unit);
}

void KeyPictureOutlet::End(const std::string& reason) {
    MutexLock lock(mutex_);
    for (const auto& waiter : std::exchange(waiting_, {}))
        waiter->Refuse({503, reason});
}

OutletCounts KeyPictureOutlet::Counts() const {
    MutexLock lock(mutex_);
    return {waiting_.size(), takenUnits_};
}

}  // namespace vms::host
