#pragma once

#include <boost/asio/ip/tcp.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "host/net/IoThread.h"
#include "host/net/TlsContext.h"
#include "host/net/WaitingRoom.h"
#include "host/net/Wire.h"

namespace vms::host {

/// Takes over a client, on its wire's I/O thread.
using WireSink = std::function<void(std::unique_ptr<Wire>, IoThread&)>;

struct TlsLimits {
    size_t unfinished = 256;  ///< clients that have not said yet what they want, and as many that
                              ///< have, and are in the middle of their handshake
    std::chrono::milliseconds patience{10'000};  ///< from the connection to the handshake's end
    size_t bytes = size_t{32} << 10;             ///< that a client may send for a handshake
    uint64_t recordsPerKey = uint64_t{1} << 23;  ///< see MakeTlsWire
};

/// What has become of clients so far.
struct TlsCounts {
    uint64_t secure = 0;     ///< handshake done
    uint64_t plain = 0;      ///< no TLS wanted
    uint64_t failed = 0;     ///< gone, or sent what is no handshake
    uint64_t tooLate = 0;    ///< not done in time
    uint64_t displaced = 0;  ///< had to make room for a newcomer
};

/// Does the handshakes of one port, on a thread of its own: however many come, nobody who has been
/// let in is held up. The first byte tells whether a client wants TLS; one that does not goes on
/// over a plain wire. Handshakes are bounded in number, time and bytes; when there are too many one
/// of those who come from the most crowded address gives way, the oldest. Whoever says nothing, or
/// half a word, takes no place of those who have spoken.
class TlsDoor {
public:
    /// @param tls, own must outlive this object; own has been stopped before it goes
    /// @param threads of the wires, in turn; not empty, must outlive this object
    TlsDoor(TlsContext& tls, IoThread& own, std::vector<IoThread*> threads, WireSink sink,
            const TlsLimits& limits);
    ~TlsDoor();
    TlsDoor(const TlsDoor&) = delete;
    TlsDoor& operator=(const TlsDoor&) = delete;

    /// On its own thread, to which the socket belongs.
    void Admit(boost::asio::ip::tcp::socket socket);

    /// Ends the handshakes under way. On its own thread, or once that has been stopped.
    void Close();

    /// Any thread.
    TlsCounts Counts() const;

private:
    class Handshake;
    using Room = WaitingRoom<std::shared_ptr<Handshake>>;

    struct Counters {
        std::atomic<uint64_t> secure{0};
        std::atomic<uint64_t> plain{0};
        std::atomic<uint64_t> failed{0};
        std::atomic<uint64_t> tooLate{0};
        std::atomic<uint64_t> displaced{0};
    };

    Room::Ticket Enter(Room& room, std::shared_ptr<Handshake> handshake, uint64_t origin);
    void Pass(boost::asio::ip::tcp::socket socket, Ssl tls);

    TlsContext& tls_;
    IoThread& own_;
    const std::vector<IoThread*> threads_;
    const std::shared_ptr<const WireSink> sink_;
    const TlsLimits limits_;
    Counters counts_;
    // Of its own thread:
    Room silent_;  ///< who has not sent the first message of a handshake whole
    Room shaking_;
    size_t next_ = 0;
};

}  // namespace vms::host
