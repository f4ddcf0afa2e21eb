#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/net/DropPolicy.h"
#include "host/net/SendQueue.h"
#include "host/players/whep/WhepClock.h"
#include "host/players/whep/WhepPlugin.h"
#include "host/relay/Outlet.h"
#include "platform/Mutex.h"

namespace vms::host {

/// One browser as a way out of a live stream: H.264, and G.711 where it has been agreed on. What it
/// is given to begin with is decoded at once, and not at the pace at which it was taken.
class WhepOutlet final : public Outlet {
public:
    /// Called under the relay's lock: must not wait, nor call the relay. @param reason ASCII
    using Over = std::function<void(const std::string& reason)>;

    /// @param sound what has been agreed on, kUnknown = none
    WhepOutlet(std::shared_ptr<whep::Session> session, MediaCodec sound, Over over,
               const SendLimits& limits = {});

    /// The newest group has been taken: sends it, and from now on all that comes.
    void Begin() VMS_EXCLUDES(mutex_);

    /// Leaves the relay; may join it, and begin, again.
    void Leave() VMS_EXCLUDES(mutex_);

    /// Leaves it for good, and drops the session.
    void Stop() VMS_EXCLUDES(mutex_);

    void Take(const MediaUnit& unit) override VMS_EXCLUDES(mutex_);
    void Tell(const __tagTvCommand&) override {}
    void End(const std::string& reason) override { over_(reason); }
    OutletCounts Counts() const override VMS_EXCLUDES(mutex_);

    SendCounts Sent() const VMS_EXCLUDES(mutex_);

private:
    bool Fits(const MediaUnit& unit) VMS_REQUIRES(mutex_);
    void Send(const MediaUnit& unit, int64_t timeMs) VMS_REQUIRES(mutex_);
    void SendLive(const MediaUnit& unit) VMS_REQUIRES(mutex_);
    void BreakOff(const std::string& reason) VMS_REQUIRES(mutex_);

    const MediaCodec sound_;
    const Over over_;
    mutable Mutex mutex_;
    std::shared_ptr<whep::Session> session_ VMS_GUARDED_BY(mutex_);  ///< null = stopped
    WhepClock clock_ VMS_GUARDED_BY(mutex_);
    DropPolicy policy_ VMS_GUARDED_BY(mutex_);
    std::vector<MediaUnit> group_ VMS_GUARDED_BY(mutex_);  ///< pictures taken before it begins
    bool hasBegun_ VMS_GUARDED_BY(mutex_) = false;
    bool isOver_ VMS_GUARDED_BY(mutex_) = false;  ///< for good
    SendCounts counts_ VMS_GUARDED_BY(mutex_);
    uint64_t takenUnits_ VMS_GUARDED_BY(mutex_) = 0;
};

}  // namespace vms::host
