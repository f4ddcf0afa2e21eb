#include "sim/process/StopSignals.h"

#include <csignal>

namespace vms::sim {

namespace {

sigset_t StopSet() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

}  // namespace

void BlockStopSignals() {
    const sigset_t set = StopSet();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

void WaitForStopSignal() {
    const sigset_t set = StopSet();
    int received = 0;
    sigwait(&set, &received);
}

}  // namespace vms::sim
