#include "platform/bus/PendingRequests.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vms {

void PendingRequests::Add(int64_t serial, CallbacksPtr callbacks, TimePoint now) {
    bySign_.push_back(Entry{serial, now, std::move(callbacks)});
    bySerial_[serial] = std::prev(bySign_.end());
}

PendingRequests::CallbacksPtr PendingRequests::Find(int64_t serial) const {
    const auto found = bySerial_.find(serial);
    return found == bySerial_.end() ? nullptr : found->second->callbacks;
}

bool PendingRequests::Answered(int64_t serial, TimePoint now) {
    const auto found = bySerial_.find(serial);
    if (found == bySerial_.end() || !found->second->callbacks->onResponse)
        return false;
    found->second->lastSign = now;
    bySign_.splice(bySign_.end(), bySign_, found->second);
    return true;
}

PendingRequests::Entries PendingRequests::Take(int64_t serial) {
    Entries taken;
    const auto found = bySerial_.find(serial);
    if (found != bySerial_.end()) {
        taken.splice(taken.begin(), bySign_, found->second);
        bySerial_.erase(found);
    }
    return taken;
}

PendingRequests::Entries PendingRequests::TakeExpired(TimePoint now) {
    Entries expired;
    while (!bySign_.empty() && now - bySign_.front().lastSign >= lifetime_) {
        bySerial_.erase(bySign_.front().serial);
        expired.splice(expired.end(), bySign_, bySign_.begin());
    }
    return expired;
}

std::chrono::nanoseconds PendingRequests::UntilExpiry(TimePoint now) const {
    if (bySign_.empty())
        return lifetime_;
    const std::chrono::nanoseconds left = bySign_.front().lastSign + lifetime_ - now;
    return std::max(left, std::chrono::nanoseconds{0});
}

}  // namespace vms
