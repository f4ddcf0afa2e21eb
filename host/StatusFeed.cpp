#include "host/StatusFeed.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/HostError.h"

namespace vms {
namespace {

int MakeEvent() {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE);
    if (descriptor < 0)
        throw HostError(std::string("cannot wait for status reports: ") + std::strerror(errno));
    return descriptor;
}

}  // namespace

StatusFeed::StatusFeed(ICommandBus& bus)
    : bus_(bus),
      descriptor_(MakeEvent()),
      subscription_(bus.Subscribe(TV_CMD_DEVICE_STATUS,
                                  [this](const __tagTvCommand& report) { Put(report); })) {}

StatusFeed::~StatusFeed() {
    bus_.Unsubscribe(subscription_);
    close(descriptor_);
}

// The event counts the waiting reports, so it changes only together with them.

void StatusFeed::Put(const __tagTvCommand& notification) {
    MutexLock lock(mutex_);
    if (reports_.size() == kKept)
        reports_.pop_front();
    else
        eventfd_write(descriptor_, 1);
    reports_.push_back({notification.source, notification.body});
}

std::optional<StatusReport> StatusFeed::Take() {
    MutexLock lock(mutex_);
    if (reports_.empty())
        return std::nullopt;
    eventfd_t one = 0;
    eventfd_read(descriptor_, &one);
    StatusReport report = std::move(reports_.front());
    reports_.pop_front();
    return report;
}

}  // namespace vms
