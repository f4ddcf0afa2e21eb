#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

#include "platform/Mutex.h"

namespace vms::host {

struct UnwatchedLimits {
    size_t perClient = 32;
    size_t inAll = 128;
    /// By then a player has come, or the module has given the stream up.
    std::chrono::steady_clock::duration lifetime = std::chrono::seconds(15);
};

/// The streams that clients of the API have opened and that nobody has come to watch yet: each
/// costs a device connection and threads until its module gives it up, so there is a bound.
/// Thread-safe.
class UnwatchedStreams {
public:
    using Clock = std::chrono::steady_clock;
    using Now = Clock::time_point (*)();

    explicit UnwatchedStreams(const UnwatchedLimits& limits = {}, Now now = &Clock::now)
        : limits_(limits), now_(now) {}

    /// A client is about to open one. @param client whoever it is counted for, such as an address
    /// @return a number for the calls below; 0 = it has too many, or all have
    [[nodiscard]] uint64_t Open(const std::string& client) VMS_EXCLUDES(mutex_);

    /// It is there under that key; "" = it could not be opened.
    void Opened(uint64_t number, const std::string& key) VMS_EXCLUDES(mutex_);

    /// A player has come for it.
    void Watched(const std::string& key) VMS_EXCLUDES(mutex_);

private:
    struct Stream {
        std::string client;
        std::string key;  ///< "" = not there yet
        Clock::time_point since;
    };

    void Forget(Clock::time_point now) VMS_REQUIRES(mutex_);

    const UnwatchedLimits limits_;
    const Now now_;
    Mutex mutex_;
    uint64_t last_ VMS_GUARDED_BY(mutex_) = 0;
    std::map<uint64_t, Stream> streams_ VMS_GUARDED_BY(mutex_);  ///< oldest first
};

}  // namespace vms::host
