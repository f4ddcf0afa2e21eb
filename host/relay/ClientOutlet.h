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

    /// What one unit has become.
    struct Packed {
        std::vector<Chunk> chunks;
        std::string ending;  ///< not "": the clients so far cannot read on and are asked to end
    };

    /// The client gets what it is given to begin with into its queue; have it flushed afterwards. A
    /// connection has one live stream at a time.
    void Join(const std::shared_ptr<Connection>& client) VMS_EXCLUDES(mutex_);
    void Leave(const Connection& client) VMS_EXCLUDES(mutex_);

    void Take(const MediaUnit& unit) final VMS_EXCLUDES(mutex_);
    void Tell(const __tagTvCommand& message) final VMS_EXCLUDES(mutex_);
    void End(const std::string& reason) final VMS_EXCLUDES(mutex_);
    OutletCounts Counts() const final VMS_EXCLUDES(mutex_);

protected:
    /// The unit as this way out frames it; nothing when it has no place for such a unit, or not
    /// yet. Called for one unit after the other, under the outlet's lock. @param packed empty
    virtual void Pack(const MediaUnit& unit, Packed& packed) = 0;

    /// What a newcomer is given before all; under the outlet's lock.
    virtual std::optional<Chunk> Head() const { return std::nullopt; }

    /// Whether a newcomer is given all sound of the newest group, or only what is due. Constant.
    virtual bool GivesAllSound() const { return false; }

    /// Tells one client; does nothing where clients cannot be told. Under the outlet's lock.
    virtual void TellClient(Connection& client, const __tagTvCommand& message) = 0;

private:
    std::vector<Chunk> Beginning() const VMS_REQUIRES(mutex_);
    void EndClients(const std::string& reason) VMS_REQUIRES(mutex_);
    void Send(const Chunk& chunk) VMS_REQUIRES(mutex_);

    Bursts& bursts_;
    mutable Mutex mutex_;
    GopCache<Chunk> group_ VMS_GUARDED_BY(mutex_);
    bool hasKeyPictures_ VMS_GUARDED_BY(mutex_) = false;  ///< of a stream without, nothing is held
    std::vector<std::shared_ptr<Connection>> clients_ VMS_GUARDED_BY(mutex_);
    uint64_t takenUnits_ VMS_GUARDED_BY(mutex_) = 0;
    Packed packed_ VMS_GUARDED_BY(mutex_);  ///< of the unit being taken; keeps its memory
};

}  // namespace vms::host
