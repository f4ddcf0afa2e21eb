#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/net/Bursts.h"
#include "host/net/Chunk.h"
#include "host/relay/GopCache.h"
#include "host/relay/Outlet.h"
#include "platform/Mutex.h"

namespace vms::host {

class Connection;

/// An outlet with many clients that all get the same bytes: each unit is framed once and sent to
/// all in a burst. A newcomer is given the newest group at once and the stream from there on: no
/// gap, nothing twice. Thread-safe.
class ClientOutlet : public Outlet {
public:
    /// @param bursts must outlive the outlet
    explicit ClientOutlet(Bursts& bursts, const GopLimits& limits = {})
        : bursts_(bursts), group_(limits) {}

    /// The client gets what it is given to begin with into its queue; have it flushed afterwards. A
    /// connection has one live stream at a time.
    void Join(const std::shared_ptr<Connection>& client) VMS_EXCLUDES(mutex_);
    void Leave(const Connection& client) VMS_EXCLUDES(mutex_);

    void Take(const MediaUnit& unit) final VMS_EXCLUDES(mutex_);
    void Tell(const __tagTvCommand& message) final VMS_EXCLUDES(mutex_);
    void End(const std::string& reason) final VMS_EXCLUDES(mutex_);
    OutletCounts Counts() const final VMS_EXCLUDES(mutex_);

protected:
    /// The unit as this way out frames it; nothing when it has no place for such a unit. Called for
    /// one unit after the other.
    virtual std::optional<Chunk> Pack(const MediaUnit& unit) = 0;

    /// Tells one client; does nothing where clients cannot be told. Under the outlet's lock.
    virtual void TellClient(Connection& client, const __tagTvCommand& message) = 0;

private:
    Bursts& bursts_;
    mutable Mutex mutex_;
    GopCache<Chunk> group_ VMS_GUARDED_BY(mutex_);
    bool hasKeyPictures_ VMS_GUARDED_BY(mutex_) = false;  ///< of a stream without, nothing is held
    std::vector<std::shared_ptr<Connection>> clients_ VMS_GUARDED_BY(mutex_);
    uint64_t takenUnits_ VMS_GUARDED_BY(mutex_) = 0;
};

}  // namespace vms::host
