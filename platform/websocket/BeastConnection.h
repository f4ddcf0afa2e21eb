#pragma once

#include <openssl/ssl.h>

#include <atomic>
#include <boost/asio/ssl/context.hpp>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "platform/HostResolver.h"
#include "platform/ReusableBuffer.h"
#include "platform/websocket/BeastStream.h"
#include "platform/websocket/Connection.h"
#include "platform/websocket/EndCodes.h"
#include "platform/websocket/HandlerMemory.h"
#include "platform/websocket/IoThreads.h"
#include "platform/websocket/KeepAlive.h"
#include "platform/websocket/OutgoingFrames.h"

namespace vms {

/// A connection over a plain or a TLS stream. All private functions run on the one thread of its
/// executor, and so does every access to a member that is neither constant nor marked thread-safe.
///
///     idle -> connecting -> open -> closing -> ended
///
/// Every operation under way holds the connection; it goes when it has ended and the last of them
/// has come back.
template <class Stream>
class BeastConnection final : public Connection,
                              public std::enable_shared_from_this<BeastConnection<Stream>> {
public:
    using TlsContext = asio::ssl::context;

    /// @param tls null for a plain stream
    BeastConnection(IoThreads& io, ConnectionRequest request, const WebSocketSettings& settings,
                    std::shared_ptr<ConnectionSink> sink, std::shared_ptr<TlsContext> tls);
    ~BeastConnection() override;

    void Start() override;
    bool Send(std::string_view bytes, bool text) override;
    void Close() override;

private:
    static constexpr bool kSecure = std::is_same_v<Stream, TlsStream>;
    enum class Phase { kIdle, kConnecting, kOpen, kClosing, kEnded };
    using Code = beast::error_code;
    using Socket = ClientSocket;

    /// What only connecting needs.
    struct Attempt {
        HostResolver::Addresses addresses;
        size_t next = 0;
        websocket::response_type response;
    };

    // BeastConnection.inl: the life
    void BeginClose();
    void SendClose();
    void End(int code, const char* message);
    void ArmTimer(KeepAlive::Clock::duration delay);
    void OnTimer();
    void OnKeepAliveTimer();
    void OnTeardown();
    Socket& LowestLayer() { return beast::get_lowest_layer(ws_); }

    // BeastHandshake.inl: until open
    void Begin();
    void LookUp();
    void OnResolved(const HostResolver::Addresses& addresses, const char* error);
    void ConnectNext();
    void OnTcp(Code error);
    void SecureThenUpgrade();
    void Upgrade();
    void OnUpgraded(Code error);
    void EndUnconnected(const char* step, const std::string& reason);
    bool ProtocolIsOurs() const;

    // BeastTransfer.inl: while open
    void Open();
    void ReadMore();
    void OnRead(Code error, size_t size);
    void DeliverMessage();
    void EndRead(Code error);
    void WriteNext();
    void Ping();

    /// A completion handler that holds the connection: Bind(&BeastConnection::OnX).
    template <class... Arguments>
    auto Bind(void (BeastConnection::*member)(Arguments...)) {
        return [self = this->shared_from_this(), member](Arguments... arguments) {
            ((*self).*member)(arguments...);
        };
    }

    IoThreads& io_;
    const ConnectionRequest request_;
    const WebSocketSettings settings_;
    const std::shared_ptr<ConnectionSink> sink_;
    const std::shared_ptr<TlsContext> tls_;
    const Executor executor_;

    // Thread-safe.
    std::atomic<bool> open_{false};
    OutgoingFrames queue_;
    const std::shared_ptr<std::atomic<bool>> lookUpWanted_ =
        std::make_shared<std::atomic<bool>>(true);

    Phase phase_ = Phase::kIdle;
    websocket::stream<Stream, false> ws_;
    Timer timer_;
    KeepAlive keepAlive_;
    std::unique_ptr<Attempt> attempt_;
    ReusableBuffer message_;
    size_t filled_ = 0;  ///< bytes of the message so far
    HandlerMemory readMemory_;
    OutgoingFrame writing_;
    bool pinging_ = false;  ///< a ping waits to be written
    bool tearingDown_ = false;
    bool halted_ = false;  ///< closing took too long
};

}  // namespace vms
