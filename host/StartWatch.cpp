#include "host/StartWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "host/HostError.h"

namespace vms {
namespace {

int MakeEvent() {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0)
        throw HostError(std::string("cannot watch the start: ") + std::strerror(errno));
    return descriptor;
}

}  // namespace

StartWatch::StartWatch(HostSignals& signals, std::function<void()> onStop)
    : signals_(signals),
      onStop_(std::move(onStop)),
      started_(MakeEvent()),
      thread_([this] { Run(); }) {}

StartWatch::~StartWatch() {
    eventfd_write(started_, 1);
    thread_.join();
    close(started_);
}

/// A signal that comes last is left to whoever waits next.
void StartWatch::Run() {
    for (;;) {
        pollfd ready[] = {{started_, POLLIN, 0}, {signals_.Descriptor(), POLLIN, 0}};
        poll(ready, 2, -1);
        if (ready[0].revents != 0)
            return;
        if (ready[1].revents == 0)
            continue;
        if (signals_.Wait() == SIGHUP)
            reload_ = true;
        else
            onStop_();
    }
}

}  // namespace vms
