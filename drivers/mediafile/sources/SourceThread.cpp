#include "drivers/mediafile/sources/SourceThread.h"

#include <exception>
#include <system_error>
#include <utility>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::mediafile {

SourceThread::SourceThread(std::shared_ptr<SourceRegistry> registry, std::function<void()> wake)
    : registry_(std::move(registry)), wake_(std::move(wake)) {
    registry_->Add(this);
}

SourceThread::~SourceThread() {
    registry_->Remove(this);
    RequestStop();
    std::thread thread;
    {
        MutexLock lock(mutex_);
        thread = std::move(thread_);
    }
    if (thread.joinable())
        thread.join();
}

bool SourceThread::Start(Body body) {
    MutexLock lock(mutex_);
    if (stop_ || !registry_->IsOpen())
        return false;
    if (thread_.joinable())
        return true;
    running_ = true;
    try {
        thread_ = std::thread([this, body = std::move(body)] { Run(body); });
    } catch (const std::system_error& error) {
        running_ = false;
        VMS_LOG(3, "SourceThread", "no thread: %s", error.what());
        return false;
    }
    return true;
}

void SourceThread::RequestStop() {
    {
        MutexLock lock(mutex_);
        stop_ = true;
    }
    wake_();
}

void SourceThread::Run(const Body& body) {
    try {
        body(stop_);
    } catch (const std::exception& error) {
        VMS_LOG(3, "SourceThread", "source ends: %s", error.what());
    } catch (...) {
        VMS_LOG(3, "SourceThread", "source ends: unknown exception");
    }
    running_ = false;
    registry_->ThreadEnded();
}

}  // namespace vms::mediafile
