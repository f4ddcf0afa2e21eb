#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/http/Identity.h"

namespace vms::host {

class Connection;

/// A request to the host over HTTP.
struct HttpRequest {
    std::string method;     ///< upper case; "GET" for a HEAD, too
    bool isHead = false;    ///< the answer goes without its body, which the reply sees to
    unsigned version = 11;  ///< 10 or 11
    std::string target;     ///< as it was sent
    std::string path;       ///< decoded, without the query; begins with "/"
    /// The parts of the path, each decoded: an encoded "/" stays within its part.
    std::vector<std::string> segments;
    /// The segments behind the path of a prefix route.
    std::vector<std::string> rest;
    std::map<std::string, std::string> query;  ///< decoded; of a name that comes twice the first
    std::vector<std::pair<std::string, std::string>> headers;  ///< all, as they came
    std::string authorization;                                 ///< header, "" = none
    std::string origin;                                        ///< header, "" = none
    std::string host;         ///< of the target, else the header; "" = none
    std::string body;         ///< at most what the server's settings allow
    std::string peerAddress;  ///< numeric
    int peerPort = 0;
    bool isSecure = false;  ///< came over TLS
    Identity identity;      ///< who asks; filled in by the gate

    /// The first header of a name, whose case does not count; "" = none. Valid as long as the
    /// request is.
    std::string_view Header(std::string_view name) const;
};

struct HttpResponse {
    int status = 200;
    std::string contentType = "application/json";
    std::string body;
    std::map<std::string, std::string> headers{};  ///< further ones
};

/// A body that is produced as the client takes it: it is asked for the next piece only when
/// everything before has gone to the kernel, so that no more than one piece of it waits. Owned by
/// the server from SendBody on, and destroyed as soon as it is not needed: at its end, or when the
/// client has left, though an answer may still be due then (it is dropped).
class HttpBody {
public:
    /// The longest piece, bytes.
    static constexpr size_t kMostBytes = size_t{64} << 10;

    /// Takes a piece of at most `kMostBytes`; an empty one = the body has ended; nothing = it has
    /// failed, and the connection is broken off so that it does not look whole. Any thread, also
    /// inside Pull; called once.
    using Sink = std::function<void(std::optional<std::string>)>;

    virtual ~HttpBody() = default;
    HttpBody(const HttpBody&) = delete;
    HttpBody& operator=(const HttpBody&) = delete;

    /// Bytes in all, nothing = not known. Constant.
    virtual std::optional<uint64_t> Length() const = 0;

    /// Asks for the next piece. On an I/O thread: must not wait; what takes long goes to a thread
    /// of its own. Not called again before the sink has been.
    virtual void Pull(Sink sink) = 0;

protected:
    HttpBody() = default;
};

/// Where a request is answered, at once or later, from any thread: by one Send, by one SendBody, by
/// Begin, any number of Write, and End, or by BeginLive. Thread-safe, but pieces are in order only
/// if they come from one thread at a time. No call waits for the client. Calls that do not fit what
/// has been called before do nothing.
///
/// When the last pointer goes while nothing has been answered the client gets a 500; an answer
/// that has begun and not ended is broken off, so that it does not look whole.
class HttpReply {
public:
    /// As many bytes of an answer by Write may wait for the client.
    static constexpr size_t kMostWaiting = size_t{1} << 20;

    virtual ~HttpReply() = default;
    HttpReply(const HttpReply&) = delete;
    HttpReply& operator=(const HttpReply&) = delete;

    virtual void Send(HttpResponse response) = 0;

    /// @param head its body is not used
    /// @param body not null; sent with its length, else in chunks, or to a client of HTTP/1.0 up to
    ///             the end of the connection
    virtual void SendBody(HttpResponse head, std::unique_ptr<HttpBody> body) = 0;

    /// Begins an answer of unknown length. @param head its body is not used
    virtual void Begin(HttpResponse head) = 0;
    /// @return false when nobody takes it: the client is gone or wants the head only, or it let
    /// more than `kMostWaiting` wait, which breaks the answer off
    virtual bool Write(std::string_view piece) = 0;
    virtual void End() = 0;

    /// Begins an answer without end, whose bytes the caller puts on the connection as he likes. The
    /// server keeps watching the client, and closes the connection when it leaves, proves too slow,
    /// is asked to end (Connection::AskToEnd), after End, or once this reply is dropped; the
    /// connection's events stay the server's. @param head its body is not used
    /// @return null when nobody takes it: the client is gone or wants the head only
    virtual std::shared_ptr<Connection> BeginLive(HttpResponse head) = 0;

    /// Has a function called once the client leaves before it has its whole answer, or a live one
    /// has come to its end; at once if it has left already. On any thread; must not wait. One for a reply: another replaces it. It is
    /// forgotten when the answer is complete.
    virtual void OnGone(std::function<void()> gone) = 0;
    virtual bool IsGone() const = 0;

protected:
    HttpReply() = default;
};

/// Serves one request; on a thread of the server's small pool, unless the route says otherwise: may
/// compute, but must not wait. The request is valid during the call only. An exception is logged
/// and answered with 500.
using HttpHandler = std::function<void(const HttpRequest&, std::shared_ptr<HttpReply>)>;

/// {"error": text} with a status.
HttpResponse HttpFailure(int status, const std::string& error);

}  // namespace vms::host
