#include "host/process/EventCount.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/text/HostError.h"

namespace vms::host {
namespace {

int Make(const std::string& purpose) {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE);
    if (descriptor < 0)
        throw HostError("cannot " + purpose + ": " + std::strerror(errno));
    return descriptor;
}

}  // namespace

EventCount::EventCount(const std::string& purpose) : descriptor_(Make(purpose)) {}

EventCount::~EventCount() {
    close(descriptor_);
}

void EventCount::Raise() {
    eventfd_write(descriptor_, 1);
}

void EventCount::Take() {
    eventfd_t one = 0;
    eventfd_read(descriptor_, &one);
}

}  // namespace vms::host
