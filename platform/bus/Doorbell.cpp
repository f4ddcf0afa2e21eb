#include "platform/bus/Doorbell.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace vms {
namespace {

timespec ToTimespec(std::chrono::nanoseconds span) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(span);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((span - seconds).count())};
}

/// Takes what a descriptor has counted; both kinds count in eight bytes and never block here.
void Clear(int descriptor) {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(descriptor, &count, sizeof count);
}

void SetTimer(int timer, std::chrono::nanoseconds delay) {
    itimerspec when{};
    when.it_value = ToTimespec(delay);
    timerfd_settime(timer, 0, &when, nullptr);
}

}  // namespace

Doorbell::Doorbell()
    : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    if (event_ >= 0 && timer_ >= 0)
        return;
    const int error = errno;
    close(event_);
    close(timer_);
    throw std::system_error(error, std::system_category(), "doorbell");
}

Doorbell::~Doorbell() {
    close(event_);
    close(timer_);
}

void Doorbell::Ring() noexcept {
    const uint64_t once = 1;
    [[maybe_unused]] const ssize_t written = write(event_, &once, sizeof once);
}

void Doorbell::RingAfter(std::chrono::nanoseconds delay) noexcept {
    SetTimer(timer_, std::max(delay, std::chrono::nanoseconds{1}));
}

void Doorbell::Disarm() noexcept {
    SetTimer(timer_, std::chrono::nanoseconds{0});
}

bool Doorbell::WaitUntil(std::chrono::steady_clock::time_point deadline) noexcept {
    pollfd watched[] = {{event_, POLLIN, 0}, {timer_, POLLIN, 0}};
    const auto left = deadline - std::chrono::steady_clock::now();
    const timespec timeout = ToTimespec(std::max(left, std::chrono::nanoseconds{0}));
    if (ppoll(watched, 2, &timeout, nullptr) <= 0)
        return false;
    for (const pollfd& descriptor : watched) {
        if (descriptor.revents != 0)
            Clear(descriptor.fd);
    }
    return watched[1].revents != 0;
}

}  // namespace vms
