#pragma once

#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include <atomic>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "host/stream/IoThread.h"
#include "host/stream/PlayerInfo.h"
#include "host/stream/PlayerOutput.h"
#include "platform/Mutex.h"

class ILogHandler;

namespace vms {

class ConnectionTable;
class StreamModules;

/// Counts of the whole stream server since its start.
struct StreamTotals {
    std::atomic<uint64_t> players{0};      ///< that ever connected
    std::atomic<uint64_t> requests{0};     ///< of players
    std::atomic<uint64_t> slowPlayers{0};  ///< given up for being too slow
};

/// What all players share; outlives them.
struct PlayerContext {
    StreamModules& modules;
    ConnectionTable& connections;
    boost::asio::thread_pool& lanes;  ///< where the modules hear of the players; may wait
    ILogHandler& log;
    StreamTotals& totals;
    SendLimits limits;
};

/// One player: what waits for it, and the events the modules hear of it, in order, on a lane of its
/// own. The transport derives from it and belongs to one I/O thread. Lives while it is shared.
///
/// Thread-safe, except for what says otherwise.
class PlayerConnection : public std::enable_shared_from_this<PlayerConnection> {
public:
    virtual ~PlayerConnection() = default;
    PlayerConnection(const PlayerConnection&) = delete;
    PlayerConnection& operator=(const PlayerConnection&) = delete;

    long long Id() const { return id_; }

    /// Sends or queues a media unit; never waits. @return false when the player has been given up
    bool SendUnit(std::string_view unit, UnitKind kind, bool isPlayback);

    /// The same, but where the unit may go at once, its frame is left to the caller to send.
    /// @param alive set to what SendUnit would have returned
    /// @return the socket to send it on before Release is called, -1 = the unit has been seen to
    int ClaimFor(std::string_view unit, UnitKind kind, bool isPlayback, bool& alive);
    /// @param taken bytes of the frame, -1 = the connection is broken
    /// @return false when the player has been given up
    bool Release(const FrameHeader& header, std::string_view unit, ssize_t taken);

    /// Sends or queues a text frame. @return false when the player has been given up
    bool SendText(std::string_view text);

    /// Ends the connection; the modules hear of it. @param reason ASCII, at most 100 bytes
    void Close(const std::string& reason);

    SendCounts Counts() const { return output_.Counts(); }
    PlayerInfo Describe() const VMS_EXCLUDES(mutex_);

protected:
    /// As many events of one player may wait for a module before reading rests.
    static constexpr int kWaitingEvents = 32;
    static constexpr size_t kWaitingBytes = size_t{4} << 20;  ///< the same, in bytes

    PlayerConnection(IoThread& io, PlayerContext& context);

    // On the I/O thread:

    /// The connection stands. @return false: the server is ending, go silently
    bool Opened(const std::string& address, int port);
    /// A frame has come. @return false: read on only after ReadOn
    bool Received(std::string frame, bool text);
    /// The connection is gone; once or more often.
    void Gone(int code, const std::string& reason);

    virtual void ReadOn() = 0;
    /// Call Flush of the output once the socket can be written to.
    virtual void FlushLater() = 0;
    virtual void StartClose(const std::string& reason) = 0;

    // On any thread:

    PlayerOutput& Output() { return output_; }
    bool Settle(const PlayerOutput::Outcome& outcome);

private:
    void HandleText(const std::string& frame) VMS_EXCLUDES(mutex_);
    void EventDone(size_t bytes);

    IoThread& io_;
    PlayerContext& context_;
    PlayerOutput output_;
    std::atomic<bool> givenUp_{false};  ///< too slow: everything is refused from then on
    boost::asio::strand<boost::asio::thread_pool::executor_type> lane_;
    const long long id_;
    // Constant once opened:
    std::string address_;
    int port_ = 0;
    std::time_t since_ = 0;

    // Of the I/O thread:
    int waitingEvents_ = 0;
    size_t waitingBytes_ = 0;
    bool readingRests_ = false;
    bool opened_ = false;
    bool gone_ = false;

    mutable Mutex mutex_;
    std::string key_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms
