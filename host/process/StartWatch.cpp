#include "host/process/StartWatch.h"

#include <poll.h>

#include <utility>

namespace vms::host {
StartWatch::StartWatch(HostSignals& signals, std::function<void()> onStop)
    : signals_(signals), onStop_(std::move(onStop)), thread_([this] { Run(); }) {}

StartWatch::~StartWatch() {
    started_.Raise();
    thread_.join();
}

/// A signal that comes last is left to whoever waits next.
void StartWatch::Run() {
    for (;;) {
        pollfd ready[] = {{started_.Descriptor(), POLLIN, 0}, {signals_.Descriptor(), POLLIN, 0}};
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

}  // namespace vms::host
