#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <unordered_map>

#include "module/ICommandBus.h"

namespace vms {

/// Whom to tell about a posted request; either may be empty.
struct RequestCallbacks {
    ICommandBus::Callback onResponse;
    std::function<void(bool threw)> onHandled;
};

/// Posted requests whose answers somebody waits for. All live equally long after their last sign of
/// life, so the order of those signs is the order of expiry. Not thread-safe; whatever is taken out
/// is handed to the caller, who destroys it without holding a lock.
class PendingRequests {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using CallbacksPtr = std::shared_ptr<const RequestCallbacks>;
    struct Entry {
        int64_t serial;
        TimePoint lastSign;
        CallbacksPtr callbacks;
    };
    using Entries = std::list<Entry>;

    explicit PendingRequests(std::chrono::milliseconds lifetime) : lifetime_(lifetime) {}

    void Add(int64_t serial, CallbacksPtr callbacks, TimePoint now);

    /// @return null when nobody waits for that serial
    CallbacksPtr Find(int64_t serial) const;

    /// Counts as a sign of life. @return false when nobody waits for answers to that serial
    bool Answered(int64_t serial, TimePoint now);

    /// Takes one out; empty when it is not there.
    Entries Take(int64_t serial);

    /// Takes out what has been silent for too long.
    Entries TakeExpired(TimePoint now);

    /// How long to sleep at most before something can expire, now or of what is added later.
    std::chrono::nanoseconds UntilExpiry(TimePoint now) const;

private:
    const std::chrono::milliseconds lifetime_;
    Entries bySign_;  ///< longest silent first
    std::unordered_map<int64_t, Entries::iterator> bySerial_;
};

}  // namespace vms
