#pragma once

#include <ctime>
#include <string>

#include "host/net/Wire.h"
#include "host/players/PlayerInfo.h"
#include "host/sources/StreamAddress.h"

namespace vms::host {

/// What stays the same of a player that has come for a stream by its address.
struct PlayerCard {
    long long number = 0;  ///< as the receivers are counted, and nobody else's
    Peer peer;
    StreamAddress address;
    std::string kind;                        ///< its way out, see PlayerInfo
    std::time_t since = std::time(nullptr);  ///< seconds since the epoch

    /// The player as others see it. @param counts what it has been sent so far
    PlayerInfo Describe(const SendCounts& counts) const;
};

}  // namespace vms::host
