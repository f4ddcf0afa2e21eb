#pragma once

#include <boost/asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "host/net/Chunk.h"
#include "host/net/DropPolicy.h"
#include "host/net/IoThread.h"
#include "host/net/SendQueue.h"
#include "host/players/rtsp/UdpPair.h"
#include "media/rtp/RtpStream.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Media to one player over UDP, without waiting: a burst goes out at once, what is more at a pace
/// that the buffers of ordinary players bear, and waits until then. What a slow network does
/// without, DropPolicy says. Thread-safe, except for what says otherwise.
class UdpFlow : public std::enable_shared_from_this<UdpFlow> {
public:
    using Clock = std::chrono::steady_clock;

    /// Packets that go at once, and in each millisecond after them.
    static constexpr int kBurst = 64;
    static constexpr int kPerMs = 4;
    /// A player at whose port nobody listens is given up after so many refusals without a report.
    static constexpr int kMostRefusals = 20;

    /// @param io  must outlive the flow
    /// @param end asked for when the player has to be given up, and told why; any thread, with the
    ///            flow's lock held
    UdpFlow(IoThread& io, const SendLimits& limits,
            std::function<void(bool isTooSlow, const char* reason)> end);
    ~UdpFlow();
    UdpFlow(const UdpFlow&) = delete;
    UdpFlow& operator=(const UdpFlow&) = delete;

    /// The ports of a track; on the I/O thread, before anything of it is sent.
    void Add(size_t track, std::unique_ptr<UdpPair> pair) VMS_EXCLUDES(mutex_);

    // As Output has it; chunks are rows of packets.

    void BeginLive(const std::vector<Chunk>& prelude, bool holds) VMS_EXCLUDES(mutex_);
    void SendLive(const Chunk& chunk) VMS_EXCLUDES(mutex_);
    /// What must not be dropped. @return false when the player is gone or has been given up
    bool SendWhole(const Chunk& chunk, SendQueue::Class what) VMS_EXCLUDES(mutex_);

    SendCounts Counts() const VMS_EXCLUDES(mutex_);

    /// When the player has last reported; the flow's begin when it never has.
    Clock::time_point Heard() const VMS_EXCLUDES(mutex_);

    /// On the I/O thread: ends it. Once or more often.
    void Close() VMS_EXCLUDES(mutex_);

private:
    void Listen(size_t track);
    void OnReport(size_t track, boost::system::error_code error, size_t size) VMS_EXCLUDES(mutex_);
    void Flush() VMS_REQUIRES(mutex_);
    bool SendSome(SendQueue::Frame& frame) VMS_REQUIRES(mutex_);
    bool SendPackets(SendQueue::Frame& frame, int descriptor, size_t count, bool isControl)
        VMS_REQUIRES(mutex_);
    int DescriptorFor(int channel) VMS_REQUIRES(mutex_);
    void Refill() VMS_REQUIRES(mutex_);
    void FlushLater() VMS_REQUIRES(mutex_);
    void OnTimer() VMS_EXCLUDES(mutex_);
    void GiveUp(bool isTooSlow, const char* reason) VMS_REQUIRES(mutex_);

    IoThread& io_;
    const SendLimits limits_;
    const std::function<void(bool, const char*)> end_;
    mutable Mutex mutex_;
    std::array<std::unique_ptr<UdpPair>, RtpStream::kMostTracks> pairs_ VMS_GUARDED_BY(mutex_);
    SendQueue queue_ VMS_GUARDED_BY(mutex_);
    DropPolicy policy_ VMS_GUARDED_BY(mutex_);
    double credit_ VMS_GUARDED_BY(mutex_) = kBurst;  ///< packets that may go now
    Clock::time_point refilled_ VMS_GUARDED_BY(mutex_);
    Clock::time_point heard_ VMS_GUARDED_BY(mutex_);
    bool isArmed_ VMS_GUARDED_BY(mutex_) = false;  ///< the timer is or will be running
    bool isOver_ VMS_GUARDED_BY(mutex_) = false;
    int refusals_ VMS_GUARDED_BY(mutex_) = 0;
    bool joins_ VMS_GUARDED_BY(mutex_) = true;  ///< the kernel takes several packets as one
    // Of the I/O thread:
    boost::asio::steady_timer timer_;
    std::array<std::array<char, 512>, RtpStream::kMostTracks> report_{};
};

}  // namespace vms::host
