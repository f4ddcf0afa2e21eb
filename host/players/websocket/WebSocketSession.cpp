#include "host/players/websocket/WebSocketSession.h"

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

#include <algorithm>
#include <utility>

#include "host/players/websocket/WireStream.h"

namespace vms::host {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;

/// Without a byte for half of this a player is pinged, then given up.
constexpr std::chrono::seconds kIdle(60);
constexpr std::chrono::seconds kHandshake(10);
/// A peer that does not answer our close within this is cut off.
constexpr std::chrono::milliseconds kCloseWait(500);
/// Talk audio stays below 4 MiB, and so do requests.
constexpr size_t kLongestMessage = (size_t{4} << 20) + 64;
constexpr size_t kPiece = size_t{64} << 10;  ///< of a message, read at once
/// A buffer that one long message has blown up is not kept.
constexpr size_t kKeptBuffer = size_t{64} << 10;
/// As many frames of one player may wait for a module before reading rests.
constexpr int kWaitingFrames = 32;
constexpr size_t kWaitingBytes = size_t{4} << 20;  ///< the same, in bytes

/// A player over WebSocket (RFC 6455), without compression: media does not compress. The library
/// does handshake, reading and control frames; media and texts go straight to the connection.
class WebSocketSession final : public std::enable_shared_from_this<WebSocketSession> {
public:
    WebSocketSession(std::shared_ptr<Connection> connection, std::string read,
                     std::shared_ptr<WebSocketUser> user, BodyBudget& budget)
        : connection_(std::move(connection)),
          player_(std::move(user)),
          budget_(budget),
          stream_(connection_, std::move(read)),
          closeWait_(stream_.get_executor()) {}

    void Start(const std::string& head) {
        const std::weak_ptr<WebSocketSession> weak = weak_from_this();
        connection_->SetEvents(
            [weak] {
                if (const auto self = weak.lock()) {
                    self->player_->CountTooSlow();
                    self->Close("too slow");
                }
            },
            {},
            [weak](const std::string& reason) {
                if (const auto self = weak.lock())
                    self->Close(reason);
            });
        stream_.set_option(websocket::stream_base::timeout{kHandshake, kIdle, true});
        stream_.read_message_max(kLongestMessage);
        http::request_parser<http::empty_body> parser;
        parser.header_limit(static_cast<uint32_t>(head.size() + 1));
        beast::error_code error;
        parser.put(asio::buffer(head), error);
        request_ = parser.release();
        stream_.async_accept(request_, [self = shared_from_this()](beast::error_code refused) {
            self->OnAccept(refused);
        });
    }

private:
    /// What a frame in the hands of the modules holds.
    struct Waiting {
        size_t bytes = 0;
        BodyBudget::Share share;
    };

    /// A problem is told by a close frame, whose reason pages can read.
    void OnAccept(beast::error_code error) {
        if (error || !Announce()) {
            CutOff("no player");
            return;
        }
        Read();
        const std::string problem = player_->Begin();
        if (!problem.empty())
            Close(problem);
    }

    bool Announce() {
        const Peer peer = connection_->GetWire().RemoteEnd();
        return !peer.address.empty() && player_->Opened(peer);
    }

    void Read() {
        stream_.async_read_some(
            received_, kPiece,
            [self = shared_from_this()](beast::error_code error, size_t) { self->OnRead(error); });
    }

    void OnRead(beast::error_code error) {
        if (error) {
            const bool closed = error == websocket::error::closed;
            CutOff(closed ? std::string(stream_.reason().reason.c_str()) : error.message());
            return;
        }
        if (received_.size() > BodyBudget::kUnbooked && !share_.Resize(budget_, received_.size())) {
            Close("too much is being received");
            return;
        }
        if (!stream_.is_message_done()) {
            Read();
            return;
        }
        Deliver();
        if (!readingRests_)
            Read();
    }

    void Deliver() {
        std::string frame = beast::buffers_to_string(received_.data());
        const auto waiting = std::make_shared<Waiting>();
        waiting->bytes = frame.size();
        waiting->share = std::move(share_);
        share_ = {};
        if (received_.capacity() > kKeptBuffer)
            received_ = {};
        else
            received_.clear();
        ++waitingFrames_;
        waitingBytes_ += waiting->bytes;
        readingRests_ = waitingFrames_ >= kWaitingFrames || waitingBytes_ >= kWaitingBytes;
        player_->Received(std::move(frame), stream_.got_text(),
                          [self = shared_from_this(), waiting] {
                              waiting->share = {};
                              asio::post(self->stream_.get_executor(),
                                         [self, waiting] { self->Through(waiting->bytes); });
                          });
    }

    /// The modules are through with a frame.
    void Through(size_t bytes) {
        --waitingFrames_;
        waitingBytes_ -= bytes;
        if (std::exchange(readingRests_, false) && !gone_)
            Read();
    }

    void Close(const std::string& reason) {
        if (std::exchange(closing_, true))
            return;
        connection_->Finish();
        closeWait_.expires_after(kCloseWait);
        closeWait_.async_wait([self = shared_from_this()](beast::error_code error) {
            if (!error)
                self->CutOff("no answer to the close");
        });
        stream_.async_close(
            {websocket::close_code::going_away, reason},
            [self = shared_from_this(), reason](beast::error_code) { self->CutOff(reason); });
    }

    void CutOff(const std::string& reason) {
        closing_ = true;
        gone_ = true;
        closeWait_.cancel();
        connection_->Close();
        player_->Gone(static_cast<int>(stream_.reason().code), reason);
    }

    const std::shared_ptr<Connection> connection_;
    const std::shared_ptr<WebSocketUser> player_;
    BodyBudget& budget_;
    websocket::stream<WireStream, false> stream_;
    http::request<http::empty_body> request_;
    asio::steady_timer closeWait_;
    beast::flat_buffer received_;  ///< of an unfinished message
    BodyBudget::Share share_;      ///< for it
    int waitingFrames_ = 0;
    size_t waitingBytes_ = 0;
    bool readingRests_ = false;
    bool closing_ = false;
    bool gone_ = false;
};

}  // namespace

void StartWebSocketSession(std::shared_ptr<Connection> connection, const std::string& head,
                           std::string read, const std::map<std::string, std::string>& query,
                           PlayerContext& context, BodyBudget& budget, Role role) {
    auto player = std::make_shared<WebSocketPlayer>(connection, context, role);
    player->SetQuery(query);
    StartWebSocketSession(std::move(connection), head, std::move(read), std::move(player), budget);
}

void StartWebSocketSession(std::shared_ptr<Connection> connection, const std::string& head,
                           std::string read, std::shared_ptr<WebSocketUser> user,
                           BodyBudget& budget) {
    std::make_shared<WebSocketSession>(std::move(connection), std::move(read), std::move(user),
                                       budget)
        ->Start(head);
}

}  // namespace vms::host
