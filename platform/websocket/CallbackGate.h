#pragma once

#include <cstdint>
#include <exception>
#include <thread>

#include "platform/Mutex.h"
#include "platform/websocket/ClientLog.h"

class INetEventHandle;

namespace vms {

/// Stands between a connection and the handler of its events, so that the handler can be taken
/// away for good. Thread-safe; events come one at a time. No lock is held while the handler runs.
class CallbackGate {
public:
    /// Replaces the handler, null = none, and waits for the event the old one is busy with; unless
    /// called from inside that very event.
    void SetHandler(INetEventHandle* handler) VMS_EXCLUDES(mutex_);

    /// Runs event(handler) if there is a handler. What it throws is logged.
    template <class Event>
    void Deliver(Event&& event) VMS_EXCLUDES(mutex_) {
        INetEventHandle* const handler = Enter();
        if (handler == nullptr)
            return;
        try {
            event(*handler);
        } catch (const std::exception& error) {
            ClientLog::HandlerThrew(error.what());
        } catch (...) {
            ClientLog::HandlerThrew("not an exception");
        }
        Leave();
    }

private:
    INetEventHandle* Enter() VMS_EXCLUDES(mutex_);
    void Leave() VMS_EXCLUDES(mutex_);

    Mutex mutex_;
    CondVar left_;
    INetEventHandle* handler_ VMS_GUARDED_BY(mutex_) = nullptr;
    std::thread::id inside_ VMS_GUARDED_BY(mutex_);  ///< the thread in the handler, if any
    uint64_t events_ VMS_GUARDED_BY(mutex_) = 0;     ///< delivered so far
};

}  // namespace vms
