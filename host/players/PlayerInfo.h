#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "host/net/SendQueue.h"

namespace vms::host {

/// Who is connected and how it goes.
struct PlayerInfo {
    long long id = 0;
    std::string address;
    int port = 0;
    std::time_t since = 0;  ///< seconds since the epoch
    std::string kind = "websocket";  ///< its way out: "websocket", "ts", "mp4", "play.ts", ...
    std::string key;                 ///< of the last start request, "" = none yet
    std::string device{};            ///< of the stream's address, "" = it came by a key
    int channel = 0;                 ///< the same
    int stream = 0;                  ///< the same
    SendCounts counts;
};

/// Counts of the stream server since its start.
struct StreamSummary {
    uint64_t players = 0;       ///< that ever connected
    uint64_t requests = 0;      ///< of players
    uint64_t sentUnits = 0;     ///< media units
    uint64_t sentBytes = 0;     ///< media units and texts
    uint64_t droppedUnits = 0;  ///< that slow players did without
    uint64_t slowPlayers = 0;   ///< given up for being too slow
    uint64_t connected = 0;     ///< players now
};

}  // namespace vms::host
