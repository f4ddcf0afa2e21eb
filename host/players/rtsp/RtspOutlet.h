#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/net/Bursts.h"
#include "host/players/rtsp/RtspPlayer.h"
#include "host/relay/GopCache.h"
#include "host/relay/Outlet.h"
#include "media/rtp/RtpProbe.h"
#include "media/rtp/RtpStream.h"
#include "platform/Mutex.h"

class ILogHandler;

namespace vms::host {

/// Where a player's tracks begin, by their numbers.
using RtspStarts = std::vector<RtpStream::Start>;

/// The RTSP players of a live stream: its units are made RTP once, the same packets go to all who
/// have set their track up, inside their connections in bursts and over UDP one by one. A newcomer
/// is given the newest group first. Thread-safe; no call waits.
class RtspOutlet final : public Outlet, public std::enable_shared_from_this<RtspOutlet> {
public:
    static constexpr char kKind[] = "rtsp";

    /// Somebody who wants to know what the stream consists of, and may then watch it. Told once
    /// what is wrong, "" = it can be described; under the outlet's lock, must not wait.
    using Ready = std::function<void(const std::string& problem)>;

    /// @param bursts, log must outlive the outlet
    RtspOutlet(Bursts& bursts, ILogHandler& log) : bursts_(bursts), log_(log) {}

    /// The outlet stays as long as anybody is attached. @param who each once
    void Attach(const void* who, Ready ready) VMS_EXCLUDES(mutex_);
    void Detach(const void* who) VMS_EXCLUDES(mutex_);

    /// Whoever waits has waited long enough: with what has come so far it is described, if that is
    /// enough.
    void Settle() VMS_EXCLUDES(mutex_);

    /// Of each track. Empty before it is known.
    std::vector<std::string> Descriptions() const VMS_EXCLUDES(mutex_);
    uint32_t Source(size_t track) const VMS_EXCLUDES(mutex_);

    /// Sends the answer that begins the stream, then the stream from the newest group on; one who
    /// comes back goes on where it left, if that is still there. Over TCP to be flushed afterwards.
    /// @param tracks a set of bits @param answer made from where the tracks begin
    void Join(const void* who, const std::shared_ptr<RtspPlayer>& player, unsigned tracks,
              const std::function<std::string(const RtspStarts&)>& answer) VMS_EXCLUDES(mutex_);
    /// Sends it nothing more; it stays attached.
    void Leave(const void* who) VMS_EXCLUDES(mutex_);

    // As the relay has it:
    void Take(const MediaUnit& unit) override VMS_EXCLUDES(mutex_);
    void Tell(const __tagTvCommand&) override {}
    void End(const std::string& reason) override VMS_EXCLUDES(mutex_);
    OutletCounts Counts() const override VMS_EXCLUDES(mutex_);

private:
    /// A unit on its way to all.
    struct Item {
        Chunk chunk;
        size_t track = 0;
        RtpStream::Start start;
        int64_t lineUs = 0;
        uint64_t number = 0;
    };
    struct Member {
        const void* who;
        Ready ready;                         ///< null once told
        std::shared_ptr<RtspPlayer> player;  ///< null = does not watch
        unsigned tracks = 0;
        uint64_t leftAfter = 0;  ///< number of the last unit before it left, 0 = none
    };

    void Open() VMS_REQUIRES(mutex_);
    void TellReady() VMS_REQUIRES(mutex_);
    void Pass(const MediaUnit& unit) VMS_REQUIRES(mutex_);
    void Send(const Item& item) VMS_REQUIRES(mutex_);
    std::vector<Item> PreludeOf(const Member& member) const VMS_REQUIRES(mutex_);
    RtspStarts StartsOf(const std::vector<Item>& prelude) const VMS_REQUIRES(mutex_);
    Member* Find(const void* who) VMS_REQUIRES(mutex_);
    void ListMembers() VMS_REQUIRES(mutex_);
    void EndMembers(const std::string& reason) VMS_REQUIRES(mutex_);

    Bursts& bursts_;
    ILogHandler& log_;
    mutable Mutex mutex_;
    RtpProbe probe_ VMS_GUARDED_BY(mutex_);
    std::unique_ptr<RtpStream> stream_ VMS_GUARDED_BY(mutex_);  ///< null until it is known
    std::string problem_ VMS_GUARDED_BY(mutex_);                ///< "" = none
    GopCache<Item> group_ VMS_GUARDED_BY(mutex_);
    std::vector<Member> members_ VMS_GUARDED_BY(mutex_);
    // Those of the members who watch, by track:
    std::array<std::vector<std::shared_ptr<Connection>>, RtpStream::kMostTracks> inside_
        VMS_GUARDED_BY(mutex_);
    std::array<std::vector<std::shared_ptr<UdpFlow>>, RtpStream::kMostTracks> overUdp_
        VMS_GUARDED_BY(mutex_);
    uint64_t takenUnits_ VMS_GUARDED_BY(mutex_) = 0;
};

}  // namespace vms::host
