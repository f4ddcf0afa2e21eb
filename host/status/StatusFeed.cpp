#include "host/status/StatusFeed.h"

namespace vms::host {
StatusFeed::StatusFeed(ICommandBus& bus)
    : bus_(bus),
      subscription_(bus.Subscribe(TV_CMD_DEVICE_STATUS,
                                  [this](const __tagTvCommand& report) { Put(report); })) {}

StatusFeed::~StatusFeed() {
    bus_.Unsubscribe(subscription_);
}

// The event counts the waiting reports, so it changes only together with them.

void StatusFeed::Put(const __tagTvCommand& notification) {
    MutexLock lock(mutex_);
    if (reports_.size() == kKept)
        reports_.pop_front();
    else
        waiting_.Raise();
    reports_.push_back({notification.source, notification.body});
}

std::optional<StatusReport> StatusFeed::Take() {
    MutexLock lock(mutex_);
    if (reports_.empty())
        return std::nullopt;
    waiting_.Take();
    StatusReport report = std::move(reports_.front());
    reports_.pop_front();
    return report;
}

}  // namespace vms::host
