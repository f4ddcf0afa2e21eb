#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

class ILogHandler;

namespace vms::host {

class Bursts;
class Lanes;
class LiveStreams;
class PlaybackStreams;
class PlayerTable;
class ReceiverTable;
class RelayTable;
class StreamModules;

/// Counts of all players since the server's start.
struct StreamTotals {
    std::atomic<uint64_t> players{0};      ///< that ever connected
    std::atomic<uint64_t> requests{0};     ///< of players
    std::atomic<uint64_t> slowPlayers{0};  ///< given up for being too slow
};

/// What all players share, whatever way out they use; outlives them.
struct PlayerContext {
    StreamModules& modules;
    ReceiverTable& receivers;
    RelayTable& relays;
    LiveStreams& live;
    PlaybackStreams& playbacks;
    PlayerTable& players;
    Bursts& bursts;
    Lanes& lanes;  ///< where the modules hear of the players
    ILogHandler& log;
    StreamTotals& totals;
    std::function<void(const std::string& key)> onStart;  ///< a player asks for a stream
};

}  // namespace vms::host
