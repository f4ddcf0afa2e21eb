#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "host/stream/SendQueue.h"
#include "platform/Mutex.h"

namespace vms {

class PlayerConnection;

/// The players that are connected, by number. A player stays in it until the modules have heard of
/// its end. Thread-safe.
class ConnectionTable {
public:
    /// A number no other player has had, from 1 up.
    long long NextId() { return ++lastId_; }

    /// @return false once closed: the player must go
    [[nodiscard]] bool Add(std::shared_ptr<PlayerConnection> connection) VMS_EXCLUDES(mutex_);
    void Remove(long long id) VMS_EXCLUDES(mutex_);

    /// @return null when there is no such player
    std::shared_ptr<PlayerConnection> Find(long long id) const VMS_EXCLUDES(mutex_);

    /// Several at once, null for each that there is not. @param found overwritten
    void Find(const long long* ids, size_t count,
              std::vector<std::shared_ptr<PlayerConnection>>& found) const VMS_EXCLUDES(mutex_);

    /// All players, in the order of their coming.
    std::vector<std::shared_ptr<PlayerConnection>> All() const VMS_EXCLUDES(mutex_);

    /// What has been sent to and withheld from all players, those that have left included: these
    /// counts never go back. @param connected players now
    SendCounts Totals(size_t& connected) const VMS_EXCLUDES(mutex_);

    /// Takes nobody in from now on.
    void Close() VMS_EXCLUDES(mutex_);

    /// @return false when somebody was still there at the deadline
    [[nodiscard]] bool WaitUntilEmpty(std::chrono::steady_clock::time_point deadline)
        VMS_EXCLUDES(mutex_);

private:
    struct Entry {
        long long id;
        std::shared_ptr<PlayerConnection> connection;
    };

    std::vector<Entry>::const_iterator Place(long long id) const VMS_REQUIRES(mutex_);

    std::atomic<long long> lastId_{0};
    mutable Mutex mutex_;
    CondVar removed_;
    /// In the order of their numbers: looked up once per unit and player, so kept dense.
    std::vector<Entry> entries_ VMS_GUARDED_BY(mutex_);
    SendCounts gone_ VMS_GUARDED_BY(mutex_);  ///< of players that have left
    bool closed_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms
