#include "host/net/IoThread.h"

#include <exception>

namespace vms::host {

IoThread::IoThread() : work_(context_.get_executor()), thread_([this] { Run(); }) {}

IoThread::~IoThread() {
    Stop();
}

/// A handler that ran out of memory costs its connection, not the host.
void IoThread::Run() noexcept {
    while (!context_.stopped()) {
        try {
            context_.run();
        } catch (const std::exception&) {
        }
    }
}

void IoThread::Stop() {
    context_.stop();
    if (thread_.joinable())
        thread_.join();
}

}  // namespace vms::host
