#include "host/process/HostSignals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "host/text/HostError.h"

namespace vms::host {

HostSignals::HostSignals(WatchedSignals watched) {
    if (watched == WatchedSignals::kNone)
        return;
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    if (watched == WatchedSignals::kStopAndReload)
        sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
    descriptor_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0)
        throw HostError(std::string("cannot watch for signals: ") + std::strerror(errno));
}

HostSignals::~HostSignals() {
    if (descriptor_ < 0)
        return;
    close(descriptor_);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

int HostSignals::Wait() {
    for (;;) {
        pollfd ready{descriptor_, POLLIN, 0};
        if (poll(&ready, 1, -1) < 0 && errno != EINTR)
            throw HostError(std::string("cannot wait for signals: ") + std::strerror(errno));
        signalfd_siginfo signal{};
        if (read(descriptor_, &signal, sizeof signal) == sizeof signal)
            return static_cast<int>(signal.ssi_signo);
    }
}

}  // namespace vms::host
