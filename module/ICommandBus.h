#pragma once

#include <cstdint>
#include <functional>

#include "module/CommandRecord.h"

/// The process-wide command bus. Obtained with CreateCommandBusInstance(); never freed.
///
/// Thread-safe: every operation may be called from any thread, also from inside a handler or a
/// callback of the bus. Nothing is ever delivered inside a call of SendResponse, SendRequest or
/// Post; the bus copies each record before the call returns. Callbacks run one at a time, on
/// whichever thread of the bus is at hand. Slot order is part of the contract.
class ICommandBus {
public:
    using Handler = std::function<void(__tagTvCommand*)>;
    using Callback = std::function<void(const __tagTvCommand&)>;

    /// Results of Post that are not a serial.
    static constexpr int64_t kQueueFull = -1;  ///< too many requests are waiting; try later
    static constexpr int64_t kNoHandler = -2;  ///< nobody has registered (module, identifier)

    // Module side.

    /// Binds a command identifier to a handler of a module. Registering the same pair again is
    /// accepted; the request is still delivered once, to the latest handler. The handler runs on a
    /// worker of the bus and may block; its argument is valid during the call only. An exception
    /// that leaves it is caught, counted and logged, and the request stays unanswered.
    /// @return false when an argument is null or empty
    virtual bool RegisterCommand(const char* module, __enumTvCommand id, Handler handler) = 0;

    /// Answers the request whose serial the record carries; a request may have several answers.
    /// Never blocks. @return false when nobody waits for that serial (the record is dropped)
    virtual bool SendResponse(__tagTvCommand* response) = 0;

    /// A notification to whoever has subscribed to its identifier; if its target names a registered
    /// module, a request to that module. Never blocks. @return false when it reaches nobody
    virtual bool SendRequest(__tagTvCommand* request) = 0;

    // Host side.

    /// Posts a request to a module. Requests to the same (module, deviceId) run in order, others
    /// and those without a device in parallel; DevicesEnqueue and DevicesDequeue wait for all
    /// earlier requests of their module and hold back all later ones. Never blocks.
    /// @param request    its serial is replaced by a fresh sequence and the same identifier
    /// @param onResponse called for every answer, in order, on a thread of the bus; it must not
    ///                   block. May be empty. The entry is dropped by Cancel or after 70 s without
    ///                   an answer
    /// @param onHandled  called once on a thread of the bus after the handler has returned and
    /// after
    ///                   its answers so far; the argument tells whether it threw. Not called after
    ///                   Cancel, nor when the module is unregistered first
    /// @return the serial (> 0), kQueueFull or kNoHandler; in both cases no callback ever runs
    virtual int64_t Post(const char* module, const __tagTvCommand& request, Callback onResponse,
                         std::function<void(bool threw)> onHandled = {}) = 0;

    /// Forgets a posted request: once this returns none of its callbacks runs or will run (called
    /// from inside one of them, it is that request's last). The handler itself is not interrupted.
    virtual void Cancel(int64_t serial) = 0;

    /// Delivers every notification of an identifier to the callback, on a thread of the bus; it
    /// must not block. @return a token for Unsubscribe (> 0)
    virtual int64_t Subscribe(__enumTvCommand id, Callback onNotification) = 0;

    /// Ends a subscription; afterwards its callback does not run any more (see Cancel).
    virtual void Unsubscribe(int64_t token) = 0;

    /// Refuses new requests for a module, waits until its queued and running ones are finished,
    /// then forgets its handlers. From inside a callback other callbacks may run, one inside the
    /// other, until that is done. Must not be called from one of that module's handlers (it would
    /// wait for itself): such a call is refused. @return false when refused or unknown
    virtual bool UnregisterModule(const char* module) = 0;

protected:
    ~ICommandBus() = default;
};
