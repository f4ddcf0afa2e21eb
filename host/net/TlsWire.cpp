#include "host/net/TlsWire.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

#include "host/net/SocketWire.h"
#include "host/net/TlsInput.h"

namespace vms::host {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

constexpr size_t kRecord = SSL3_RT_MAX_PLAIN_LENGTH;
constexpr size_t kReadAtOnce = size_t{32} << 10;  ///< bytes of the network
/// As many bytes may come without one for us in them: more than two records never need.
constexpr size_t kMostBarren = size_t{64} << 10;
constexpr unsigned char kKeyUpdate = 24;  ///< type of a handshake message, RFC 8446

/// Bytes that are sent one after the other, taken record by record.
class Parts {
public:
    Parts(const iovec* parts, size_t count) : part_(parts), end_(parts + count) {}

    /// The next record's bytes, which are copied only if they are not in one piece.
    std::string_view Next(char* scratch) const {
        const std::string_view first = Rest(part_, offset_);
        if (first.size() >= kRecord || part_ + 1 >= end_)
            return first.substr(0, kRecord);
        size_t size = 0;
        size_t offset = offset_;
        for (const iovec* part = part_; part != end_ && size < kRecord; ++part, offset = 0) {
            const std::string_view piece = Rest(part, offset).substr(0, kRecord - size);
            std::memcpy(scratch + size, piece.data(), piece.size());
            size += piece.size();
        }
        return {scratch, size};
    }

    void Skip(size_t bytes) {
        offset_ += bytes;
        while (part_ != end_ && offset_ >= part_->iov_len)
            offset_ -= (part_++)->iov_len;
    }

    bool AtEnd() const { return part_ == end_; }

private:
    static std::string_view Rest(const iovec* part, size_t offset) {
        return {static_cast<const char*>(part->iov_base) + offset, part->iov_len - offset};
    }

    const iovec* part_;
    const iovec* const end_;
    size_t offset_ = 0;
};

/// Tells a peer that the end is one.
/// @return false when there is no room for that now
bool SayGoodbye(SSL* tls) noexcept {
    ERR_clear_error();
    const int result = SSL_shutdown(tls);
    const bool isFull = result < 0 && SSL_get_error(tls, result) == SSL_ERROR_WANT_WRITE;
    ERR_clear_error();
    return !isFull;
}

/// What is left of a wire that has been closed while its socket was full: it waits a moment for
/// room to say goodbye, without which the end would look like a cut. Keeps itself alive.
class Farewell : public std::enable_shared_from_this<Farewell> {
public:
    /// Whether there may be one more.
    static bool MayBe() { return count_ < kMost; }

    Farewell(tcp::socket socket, Ssl tls)
        : socket_(std::move(socket)), tls_(std::move(tls)), timer_(socket_.get_executor()) {}

    void Start() {
        timer_.expires_after(kPatience);
        timer_.async_wait([self = shared_from_this()](error_code) { self->End(); });
        Wait();
    }

private:
    static constexpr int kMost = 256;
    static constexpr std::chrono::seconds kPatience{2};

    void Wait() {
        socket_.async_wait(tcp::socket::wait_write, [self = shared_from_this()](error_code error) {
            if (error || SayGoodbye(self->tls_.get()))
                self->timer_.cancel();
            else
                self->Wait();
        });
    }

    void End() {
        error_code ignored;
        socket_.close(ignored);
    }

    static inline std::atomic<int> count_{0};

    struct Counted {
        Counted() { ++count_; }
        ~Counted() { --count_; }
        Counted(const Counted&) = delete;
        Counted& operator=(const Counted&) = delete;
    };

    const Counted counted_;
    tcp::socket socket_;
    const Ssl tls_;
    asio::steady_timer timer_;
};

class TlsWire final : public SocketWire {
public:
    TlsWire(tcp::socket socket, Ssl tls, uint64_t recordsPerKey)
        : SocketWire(std::move(socket)),
          tls_(std::move(tls)),
          sentByKernel_(BIO_get_ktls_send(SSL_get_wbio(tls_.get()))),
          recordsPerKey_(recordsPerKey) {
        SSL_set_msg_callback(tls_.get(), &TlsWire::OnMessage);
        SSL_set_msg_callback_arg(tls_.get(), this);
    }

    ssize_t Write(const iovec* parts, size_t count) override {
        return sentByKernel_ ? SendParts(parts, count) : Encrypt(parts, count);
    }

    int PlainSocket() const override { return sentByKernel_ ? Descriptor() : -1; }
    bool WritesOnIoThread() const override { return !sentByKernel_; }
    bool HoldsNext() const override { return holdsNext_; }
    bool IsSecure() const override { return true; }

    /// What has come for us already is handed out from the loop, too.
    void ReadSome(asio::mutable_buffer buffer, ReadHandler handler) override {
        if (closed_ || SSL_pending(tls_.get()) > 0)
            ReadLater(buffer, std::move(handler));
        else
            ReadWhenReadable(buffer, std::move(handler));
    }

    ~TlsWire() override { *self_ = nullptr; }

    void EndSending() noexcept override {
        if (closed_ || TakeLeave())
            SocketWire::EndSending();
        else
            EndSendingLater();
    }

    void Close() noexcept override {
        if (std::exchange(closed_, true))
            return;
        *self_ = nullptr;
        if (!TakeLeave())
            CloseLater();
        SocketWire::Close();
    }

private:
    ssize_t Encrypt(const iovec* parts, size_t count) {
        char scratch[kRecord];
        ssize_t taken = spoilt_ ? -1 : 0;
        Parts rest(parts, count);
        rest.Skip(0);
        while (!spoilt_ && !rest.AtEnd()) {
            const std::string_view record = rest.Next(scratch);
            size_t written = 0;
            RenewKey();
            ERR_clear_error();
            const int result = SSL_write_ex(tls_.get(), record.data(), record.size(), &written);
            holdsNext_ = result != 1;
            if (result != 1)
                return SSL_get_error(tls_.get(), result) == SSL_ERROR_WANT_WRITE ? taken : Spoil();
            rest.Skip(written);
            taken += static_cast<ssize_t>(written);
        }
        return taken;
    }

    void RenewKey() {
        if (++records_ >= recordsPerKey_ && SSL_version(tls_.get()) == TLS1_3_VERSION &&
            SSL_key_update(tls_.get(), SSL_KEY_UPDATE_NOT_REQUESTED) == 1)
            records_ = 0;
    }

    /// After such an error OpenSSL must be asked for nothing more. @return -1
    ssize_t Spoil() {
        spoilt_ = true;
        ERR_clear_error();
        return -1;
    }

    void ReadLater(asio::mutable_buffer buffer, ReadHandler handler) {
        asio::post(get_executor(), [this, buffer, handler = std::move(handler)]() mutable {
            Read(buffer, std::move(handler));
        });
    }

    void ReadWhenReadable(asio::mutable_buffer buffer, ReadHandler handler) {
        Socket().async_wait(tcp::socket::wait_read,
                            [this, buffer, handler = std::move(handler)](error_code error) mutable {
                                if (error)
                                    handler(error, 0);
                                else
                                    Read(buffer, std::move(handler));
                            });
    }

    void ReadWhenWritable(asio::mutable_buffer buffer, ReadHandler handler) {
        WhenWritable([this, buffer, handler = std::move(handler)](error_code error) mutable {
            if (error)
                handler(error, 0);
            else
                Read(buffer, std::move(handler));
        });
    }

    void Read(asio::mutable_buffer buffer, ReadHandler handler) {
        if (closed_ || spoilt_) {
            handler(asio::error::operation_aborted, 0);
            return;
        }
        BIO* const input = SSL_get_rbio(tls_.get());
        AllowInput(input, kReadAtOnce);
        ERR_clear_error();
        size_t count = 0;
        const int result = SSL_read_ex(tls_.get(), buffer.data(), buffer.size(), &count);
        if (result == 1 && !wantsNewKey_) {
            barren_ = 0;
            handler({}, count);
            return;
        }
        barren_ += kReadAtOnce - InputLeft(input);
        const int problem = wantsNewKey_ || barren_ > kMostBarren
                                ? SSL_ERROR_SSL
                                : SSL_get_error(tls_.get(), result);
        if (problem == SSL_ERROR_WANT_WRITE) {
            ReadWhenWritable(buffer, std::move(handler));
        } else if (problem == SSL_ERROR_WANT_READ) {
            if (InputLeft(input) == 0)
                ReadLater(buffer, std::move(handler));
            else
                ReadWhenReadable(buffer, std::move(handler));
        } else if (problem == SSL_ERROR_ZERO_RETURN) {
            handler(asio::error::eof, 0);
        } else {
            Spoil();
            handler(asio::error::connection_reset, 0);
        }
    }

    /// In the middle of something nothing is said: then the end is none.
    /// @return false when there is no room for saying it now
    bool TakeLeave() noexcept {
        if (!spoilt_ && !holdsNext_ && !saidGoodbye_)
            saidGoodbye_ = SayGoodbye(tls_.get());
        return spoilt_ || holdsNext_ || saidGoodbye_;
    }

    void EndSendingLater() noexcept try {
        WhenWritable([self = self_](error_code error) {
            if (!error && *self != nullptr)
                (*self)->EndSending();
        });
    } catch (const std::exception&) {
        SocketWire::EndSending();
    }

    void CloseLater() noexcept try {
        if (!Farewell::MayBe())
            return;
        SSL_set_msg_callback(tls_.get(), nullptr);
        tcp::socket socket = std::move(Socket());
        error_code ignored;
        socket.cancel(ignored);
        std::make_shared<Farewell>(std::move(socket), std::move(tls_))->Start();
    } catch (const std::exception&) {
    }

    /// A peer may ask us for a new key. OpenSSL would follow with what is written next, but the
    /// kernel knows one key only: then the connection must end.
    static void OnMessage(int isWritten, int /*version*/, int type, const void* bytes, size_t size,
                          SSL* /*tls*/, void* argument) {
        auto& self = *static_cast<TlsWire*>(argument);
        const auto* const message = static_cast<const unsigned char*>(bytes);
        if (self.sentByKernel_ && isWritten == 0 && type == SSL3_RT_HANDSHAKE && size > 0 &&
            message[0] == kKeyUpdate && message[size - 1] == SSL_KEY_UPDATE_REQUESTED)
            self.wantsNewKey_ = true;
    }

    Ssl tls_;  ///< null once closed, at times
    const bool sentByKernel_;
    const uint64_t recordsPerKey_;
    // Of the I/O thread:
    bool holdsNext_ = false;
    bool spoilt_ = false;
    bool saidGoodbye_ = false;
    bool closed_ = false;
    bool wantsNewKey_ = false;
    size_t barren_ = 0;  ///< bytes that have come since the last one for us
    uint64_t records_ = 0;
    const std::shared_ptr<TlsWire*> self_ = std::make_shared<TlsWire*>(this);  ///< null once closed
};

}  // namespace

bool AttachTls(ssl_st* tls, int socket) {
    BIO* const input = MakeTlsInput(socket);
    BIO* const output = BIO_new_socket(socket, BIO_NOCLOSE);
    if (input == nullptr || output == nullptr) {
        BIO_free(input);
        BIO_free(output);
        return false;
    }
    SSL_set_bio(tls, input, output);
    return true;
}

std::unique_ptr<Wire> MakeTlsWire(tcp::socket socket, Ssl tls, uint64_t recordsPerKey) {
    return std::make_unique<TlsWire>(std::move(socket), std::move(tls), recordsPerKey);
}

}  // namespace vms::host
