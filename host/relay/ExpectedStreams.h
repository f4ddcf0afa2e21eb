#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <string>

#include "host/relay/RelayTable.h"
#include "host/stream/Lanes.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Shares in live streams that have just been opened: their relays keep the first group from the
/// first picture on, so that whoever comes for the stream in the next seconds misses nothing. Then
/// the shares are given back. Thread-safe.
class ExpectedStreams {
public:
    using Clock = std::chrono::steady_clock;

    /// For so long a player is waited for.
    static constexpr std::chrono::seconds kPatience{5};
    /// As many at a time; further streams do without.
    static constexpr size_t kMost = 128;

    /// @param relays, lanes must outlive this object
    ExpectedStreams(RelayTable& relays, Lanes& lanes)
        : relays_(relays), lane_(std::make_shared<Lane>(lanes)) {}

    /// Does not wait. The object must stay until the lanes have stopped.
    void Expect(const std::string& key) VMS_EXCLUDES(mutex_);

    /// Gives back the shares that nobody needs any more; to be called now and then. Does not wait.
    void Sweep(Clock::time_point now = Clock::now()) VMS_EXCLUDES(mutex_);

    /// Takes none from now on and gives all back. Waits for the modules.
    void Close() VMS_EXCLUDES(mutex_);

private:
    struct Share {
        std::shared_ptr<Relay> relay;
        Clock::time_point since;
    };

    void Take(const std::string& key) VMS_EXCLUDES(mutex_);

    RelayTable& relays_;
    const std::shared_ptr<Lane> lane_;
    Mutex mutex_;
    size_t wanted_ VMS_GUARDED_BY(mutex_) = 0;         ///< not yet taken
    std::deque<Share> shares_ VMS_GUARDED_BY(mutex_);  ///< oldest first
    bool closed_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms::host
