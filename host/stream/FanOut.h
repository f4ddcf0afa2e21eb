#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "host/stream/FrameHeader.h"
#include "host/stream/UnitKind.h"
#include "platform/Mutex.h"

namespace vms {

class ConnectionTable;

/// Sends one unit to many players in bursts: their outputs are claimed, the frame goes to all their
/// sockets in few system calls, and the outputs are given back. Thread-safe; no call waits for a
/// player.
class FanOut {
public:
    /// @param players must outlive this object
    explicit FanOut(const ConnectionTable& players);
    ~FanOut();
    FanOut(const FanOut&) = delete;
    FanOut& operator=(const FanOut&) = delete;

    /// @param failed gets the players added that are gone or have been given up
    /// @return 0, or -1 when the last one is among them
    int Send(const long long* ids, size_t count, std::string_view unit, bool isPlayback,
             std::vector<long long>& failed) VMS_EXCLUDES(mutex_);

private:
    /// A unit and how it goes out.
    struct Outgoing {
        std::string_view unit;
        UnitKind kind;
        bool isPlayback;
        FrameHeader header;
        std::string_view frame;  ///< header and unit
    };

    /// What one thread needs meanwhile; kept for the next unit.
    struct Burst;

    std::unique_ptr<Burst> Take() VMS_EXCLUDES(mutex_);
    void GiveBack(std::unique_ptr<Burst> burst) VMS_EXCLUDES(mutex_);

    /// Sets whether each of the players is still there.
    void SendSome(Burst& burst, const long long* ids, size_t count, const Outgoing& outgoing) const;

    const ConnectionTable& players_;
    Mutex mutex_;
    std::vector<std::unique_ptr<Burst>> idle_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms
