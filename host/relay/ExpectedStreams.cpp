#include "host/relay/ExpectedStreams.h"

#include <utility>

namespace vms::host {

void ExpectedStreams::Expect(const std::string& key) {
    {
        MutexLock lock(mutex_);
        if (closed_ || wanted_ + shares_.size() >= kMost)
            return;
        ++wanted_;
    }
    lane_->Post([this, key] { Take(key); });
}

void ExpectedStreams::Take(const std::string& key) {
    std::shared_ptr<Relay> relay = relays_.Acquire(key);
    {
        MutexLock lock(mutex_);
        --wanted_;
        if (relay != nullptr && !closed_)
            shares_.push_back({std::exchange(relay, nullptr), Clock::now()});
    }
    if (relay != nullptr)
        relays_.Release(relay);
}

void ExpectedStreams::Sweep(Clock::time_point now) {
    MutexLock lock(mutex_);
    while (!shares_.empty() && now - shares_.front().since >= kPatience) {
        lane_->Post([this, relay = std::move(shares_.front().relay)] { relays_.Release(relay); });
        shares_.pop_front();
    }
}

void ExpectedStreams::Close() {
    std::deque<Share> shares;
    {
        MutexLock lock(mutex_);
        closed_ = true;
        shares.swap(shares_);
    }
    for (const Share& share : shares)
        relays_.Release(share.relay);
}

}  // namespace vms::host
