#include "drivers/httpdevice/sources/FaceAttempts.h"

#include <algorithm>
#include <utility>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstRetry{1000};
constexpr milliseconds kLongestRetry{30'000};
constexpr milliseconds kLookTime{250};
constexpr int kMaxDoublings = 5;

}  // namespace

bool FaceSource::Attempts::Start(std::string key, int channel, IStreamCallback* sink) {
    MutexLock lock(mutex_);
    if (sink == nullptr || !key_.empty() || key.empty() || stopped_)
        return false;
    sink_ = sink;
    key_ = std::move(key);
    channel_ = channel;
    ConnectIn(device_->TakeFaceTurn(kFirstRetry));
    return true;
}

void FaceSource::Attempts::ConnectIn(milliseconds delay) {
    device_->Runtime()->Reactor().After(delay, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->Verify();
    });
}

void FaceSource::Attempts::Verify() {
    {
        MutexLock lock(mutex_);
        if (stopped_)
            return;
    }
    device_->VerifyThen([weak = weak_from_this()](bool ready) {
        const auto self = weak.lock();
        if (self == nullptr)
            return;
        self->device_->Runtime()->Jobs().Run([weak, ready] {
            if (const auto locked = weak.lock())
                locked->Connect(ready);
        });
    });
}

/// @param ready whether the device has confirmed the session
void FaceSource::Attempts::Connect(bool ready) {
    if (!ready) {
        MutexLock lock(mutex_);
        return Retry();
    }
    __tagTvVideoParam description = device_->Address().EventDescription();
    auto fresh = std::make_unique<TaveroFaceFrame_ws>(&description, device_->Session().c_str());
    fresh->SetConnectTimeout(device_->Runtime()->Settings().connectTimeout);
    if (!Install(std::move(fresh)))
        return;
    MutexLock lock(mutex_);
    LookIn();
}

/// @return false after Stop
bool FaceSource::Attempts::Install(Connection fresh) {
    Connection old;  // goes when nothing is locked: its end may wait for its last event
    MutexLock lock(mutex_);
    if (stopped_)
        return false;
    old = std::exchange(connection_, std::move(fresh));
    connection_->StartFaceFrame(key_, channel_, this);
    lock.Unlock();
    old.reset();
    lock.Lock();
    return true;
}

void FaceSource::Attempts::LookIn() {
    device_->Runtime()->Reactor().After(kLookTime, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->Look();
    });
}

/// A connection that closes before a packet has come is not reported by anybody else.
void FaceSource::Attempts::Look() {
    MutexLock lock(mutex_);
    if (stopped_ || arrived_)
        return;
    if (connection_->GetCloseGetStreamStatus())
        Retry();
    else
        LookIn();
}

void FaceSource::Attempts::Retry() {
    const milliseconds delay =
        std::min(kFirstRetry * (1 << std::min(retries_++, kMaxDoublings)), kLongestRetry);
    VMS_LOG(1, "FaceSource", "%s: no faces, next try in %lld ms",
            device_->Address().Label().c_str(), static_cast<long long>(delay.count()));
    if (!stopped_)
        ConnectIn(delay);
}

void FaceSource::Attempts::Stop(bool tellDevice) {
    MutexLock lock(mutex_);
    stopped_ = true;
    if (connection_ == nullptr)
        return;
    if (tellDevice)
        connection_->StopFaceFrame(key_);
    else
        connection_->RequestStopGetPreviewStream();
}

bool FaceSource::Attempts::Closed() {
    MutexLock lock(mutex_);
    return connection_ == nullptr || connection_->GetCloseGetStreamStatus();
}

std::string FaceSource::Attempts::Key() {
    MutexLock lock(mutex_);
    return key_;
}

void FaceSource::Attempts::Shut() {
    Connection last;
    MutexLock lock(mutex_);
    stopped_ = true;
    last.swap(connection_);
    lock.Unlock();
    last.reset();
    lock.Lock();
}

int FaceSource::Attempts::SteramCallback(std::string key, char* data, int length) {
    arrived_ = true;
    return sink_.load()->SteramCallback(std::move(key), data, length);
}

int FaceSource::Attempts::MsgCallback(std::string key, const char* message) {
    arrived_ = true;
    return sink_.load()->MsgCallback(std::move(key), message);
}

void FaceSource::Attempts::UpdateKeyFrame(std::string key, char* data, int length) {
    sink_.load()->UpdateKeyFrame(std::move(key), data, length);
}

int FaceSource::Attempts::QueryDataCountToSend(std::string key) {
    return sink_.load()->QueryDataCountToSend(std::move(key));
}

}  // namespace vms::httpdevice
