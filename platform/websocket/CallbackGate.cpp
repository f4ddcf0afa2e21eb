#include "platform/websocket/CallbackGate.h"

namespace vms {

void CallbackGate::SetHandler(INetEventHandle* handler) {
    const std::thread::id self = std::this_thread::get_id();
    MutexLock lock(mutex_);
    handler_ = handler;
    const uint64_t event = events_;
    while (inside_ != std::thread::id() && inside_ != self && events_ == event)
        left_.Wait(mutex_);
}

INetEventHandle* CallbackGate::Enter() {
    MutexLock lock(mutex_);
    if (handler_ == nullptr)
        return nullptr;
    inside_ = std::this_thread::get_id();
    return handler_;
}

void CallbackGate::Leave() {
    {
        MutexLock lock(mutex_);
        inside_ = std::thread::id();
        ++events_;
    }
    left_.NotifyAll();
}

}  // namespace vms
