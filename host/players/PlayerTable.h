#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <vector>

#include "host/players/PlayerInfo.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Somebody who watches or listens, whatever way out it uses. Thread-safe.
class Player {
public:
    virtual ~Player() = default;
    virtual long long Number() const = 0;
    virtual PlayerInfo Describe() const = 0;
    virtual SendCounts Counts() const = 0;
    /// Ends it. @param reason ASCII, at most 100 bytes
    virtual void Close(const std::string& reason) = 0;
};

/// The players that are connected. A player stays in it until the modules have heard of its end.
/// Thread-safe.
class PlayerTable {
public:
    /// @return false once closed: the player must go
    [[nodiscard]] bool Add(std::shared_ptr<Player> player) VMS_EXCLUDES(mutex_);
    void Remove(long long number) VMS_EXCLUDES(mutex_);

    /// In the order of their coming.
    std::vector<std::shared_ptr<Player>> All() const VMS_EXCLUDES(mutex_);

    /// What has been sent to and withheld from all players, those that have left included: these
    /// counts never go back. @param connected players now
    SendCounts Totals(size_t& connected) const VMS_EXCLUDES(mutex_);

    /// Takes nobody in from now on.
    void Close() VMS_EXCLUDES(mutex_);

    /// @return false when somebody was still there at the deadline
    [[nodiscard]] bool WaitUntilEmpty(std::chrono::steady_clock::time_point deadline)
        VMS_EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    CondVar removed_;
    std::map<long long, std::shared_ptr<Player>> players_ VMS_GUARDED_BY(mutex_);  ///< by number
    SendCounts gone_ VMS_GUARDED_BY(mutex_);  ///< of players that have left
    bool closed_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms::host
