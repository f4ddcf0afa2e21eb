#include "host/stream/IoThread.h"

namespace vms {

IoThread::IoThread() : work_(context_.get_executor()), thread_([this] { context_.run(); }) {}

IoThread::~IoThread() {
    Stop();
}

void IoThread::Stop() {
    context_.stop();
    if (thread_.joinable())
        thread_.join();
}

}  // namespace vms
