#include "host/StopSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "host/HostError.h"

namespace vms {

StopSignals::StopSignals(bool watch) {
    if (!watch)
        return;
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stops, &before_);
    descriptor_ = signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0)
        throw HostError(std::string("cannot watch for signals: ") + std::strerror(errno));
}

StopSignals::~StopSignals() {
    if (descriptor_ < 0)
        return;
    close(descriptor_);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace vms
