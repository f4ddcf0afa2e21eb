#include "host/net/IoThread.h"

#include <csignal>
#include <exception>

namespace vms::host {
namespace {

/// A peer that is gone shows in what a write returns, also where a library does the writing.
void BlockBrokenPipes() {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
}

}  // namespace

IoThread::IoThread() : work_(context_.get_executor()), thread_([this] { Run(); }) {}

IoThread::~IoThread() {
    Stop();
}

/// A handler that ran out of memory costs its connection, not the host.
void IoThread::Run() noexcept {
    BlockBrokenPipes();
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
