#include "host/net/TlsDoor.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <cerrno>
#include <cstring>
#include <utility>

#include "host/net/PlainWire.h"
#include "host/net/TlsInput.h"
#include "host/net/TlsWire.h"

namespace vms::host {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

/// With which TLS begins, and no request of HTTP or RTSP.
constexpr unsigned char kHandshakeRecord = 0x16;

/// Where a client comes from, as far as one who has many addresses can be told: IPv6 gives them out
/// by the network.
uint64_t OriginOf(const tcp::socket& socket) {
    error_code error;
    const asio::ip::address address = socket.remote_endpoint(error).address();
    if (address.is_v4())
        return address.to_v4().to_uint();
    uint64_t network = 0;
    const auto bytes = address.to_v6().to_bytes();
    std::memcpy(&network, bytes.data(), sizeof network);
    return network;
}

/// A socket between two threads' loops.
class LooseSocket {
public:
    explicit LooseSocket(tcp::socket socket)
        : protocol_(socket.local_endpoint().protocol()), descriptor_(socket.release()) {}
    ~LooseSocket() {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    LooseSocket(LooseSocket&& other) noexcept
        : protocol_(other.protocol_), descriptor_(std::exchange(other.descriptor_, -1)) {}
    LooseSocket& operator=(LooseSocket&&) = delete;

    tcp::socket On(asio::io_context& context) {
        tcp::socket socket(context);
        socket.assign(protocol_, descriptor_);
        descriptor_ = -1;
        return socket;
    }

private:
    const tcp protocol_;
    int descriptor_;
};

}  // namespace

/// One client before it is let in. Of the door's thread.
class TlsDoor::Handshake : public std::enable_shared_from_this<Handshake> {
public:
    Handshake(TlsDoor& door, tcp::socket socket)
        : door_(door),
          socket_(std::move(socket)),
          origin_(OriginOf(socket_)),
          timer_(door.own_.Context()) {}

    void Start() {
        place_ = door_.Enter(door_.silent_, shared_from_this(), origin_);
        timer_.expires_after(door_.limits_.patience);
        timer_.async_wait([self = shared_from_this()](error_code error) {
            if (!error)
                self->End(self->door_.counts_.tooLate);
        });
        Wait(tcp::socket::wait_read, &Handshake::LookAtFirstByte);
    }

    /// @param count of what has become of it
    void End(std::atomic<uint64_t>& count) {
        if (!Leave(count))
            return;
        error_code ignored;
        socket_.close(ignored);
    }

private:
    void Wait(tcp::socket::wait_type what, void (Handshake::*next)()) {
        socket_.async_wait(what, [self = shared_from_this(), next](error_code error) {
            if (error)
                self->End(self->door_.counts_.failed);
            else if (!self->isOver_)
                (*self.*next)();
        });
    }

    void LookAtFirstByte() {
        unsigned char first = 0;
        const ssize_t count =
            recv(socket_.native_handle(), &first, 1, MSG_PEEK | MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
            Wait(tcp::socket::wait_read, &Handshake::LookAtFirstByte);
        else if (count <= 0)
            End(door_.counts_.failed);
        else if (first == kHandshakeRecord)
            Secure();
        else if (Leave(door_.counts_.plain))
            door_.Pass(std::move(socket_), nullptr);
    }

    void Secure() {
        error_code error;
        socket_.non_blocking(true, error);
        tls_ = door_.tls_.NewConnection();
        if (error || tls_ == nullptr || !AttachTls(tls_.get(), socket_.native_handle())) {
            End(door_.counts_.failed);
            return;
        }
        AllowInput(SSL_get_rbio(tls_.get()), door_.limits_.bytes);
        GoOn();
    }

    void GoOn() {
        ERR_clear_error();
        const int result = SSL_do_handshake(tls_.get());
        if (result == 1) {
            if (Leave(door_.counts_.secure))
                door_.Pass(std::move(socket_), std::move(tls_));
            return;
        }
        const int problem = SSL_get_error(tls_.get(), result);
        ERR_clear_error();
        if (!hasSpoken_ && BIO_number_written(SSL_get_wbio(tls_.get())) > 0)
            ChangeRoom();
        if (problem == SSL_ERROR_WANT_WRITE)
            Wait(tcp::socket::wait_write, &Handshake::GoOn);
        else if (problem == SSL_ERROR_WANT_READ && InputLeft(SSL_get_rbio(tls_.get())) > 0)
            Wait(tcp::socket::wait_read, &Handshake::GoOn);
        else
            End(door_.counts_.failed);
    }

    /// The client's first message has been answered.
    void ChangeRoom() {
        door_.silent_.Leave(place_);
        hasSpoken_ = true;
        place_ = door_.Enter(door_.shaking_, shared_from_this(), origin_);
    }

    /// @return false when it has left already
    bool Leave(std::atomic<uint64_t>& count) {
        if (std::exchange(isOver_, true))
            return false;
        ++count;
        timer_.cancel();
        (hasSpoken_ ? door_.shaking_ : door_.silent_).Leave(place_);
        return true;
    }

    TlsDoor& door_;
    tcp::socket socket_;
    const uint64_t origin_;
    asio::steady_timer timer_;
    Ssl tls_;
    Room::Ticket place_;
    bool hasSpoken_ = false;
    bool isOver_ = false;
};

TlsDoor::TlsDoor(TlsContext& tls, IoThread& own, std::vector<IoThread*> threads, WireSink sink,
                 const TlsLimits& limits)
    : tls_(tls),
      own_(own),
      threads_(std::move(threads)),
      sink_(std::make_shared<const WireSink>(std::move(sink))),
      limits_(limits) {}

TlsDoor::~TlsDoor() = default;

void TlsDoor::Admit(tcp::socket socket) {
    std::make_shared<Handshake>(*this, std::move(socket))->Start();
}

TlsDoor::Room::Ticket TlsDoor::Enter(Room& room, std::shared_ptr<Handshake> handshake,
                                     uint64_t origin) {
    if (room.Size() >= limits_.unfinished)
        room.NextToGo()->End(counts_.displaced);
    return room.Enter(std::move(handshake), origin);
}

void TlsDoor::Close() {
    for (Room* const room : {&silent_, &shaking_}) {
        while (room->Size() > 0)
            room->NextToGo()->End(counts_.failed);
    }
}

/// @param tls null = a plain wire
void TlsDoor::Pass(tcp::socket socket, Ssl tls) {
    IoThread& io = *threads_[next_++ % threads_.size()];
    asio::post(io.Context(), [sink = sink_, &io, loose = LooseSocket(std::move(socket)),
                              tls = std::move(tls), records = limits_.recordsPerKey]() mutable {
        tcp::socket own = loose.On(io.Context());
        (*sink)(tls == nullptr ? MakePlainWire(std::move(own))
                               : MakeTlsWire(std::move(own), std::move(tls), records),
                io);
    });
}

TlsCounts TlsDoor::Counts() const {
    return {counts_.secure, counts_.plain, counts_.failed, counts_.tooLate, counts_.displaced};
}

}  // namespace vms::host
