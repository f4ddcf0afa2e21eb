#include "host/stream/HttpSession.h"

#include <boost/asio/post.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include <future>
#include <memory>
#include <optional>
#include <utility>

#include "host/http/HttpTarget.h"
#include "host/stream/PlayerSocket.h"
#include "platform/ILogHandler.h"

namespace vms {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

constexpr char kStreamPath[] = "/stream";
constexpr std::chrono::seconds kQuiet(30);  ///< longest wait for the client
constexpr uint32_t kLongestHeader = 16 << 10;
constexpr uint64_t kLongestBody = uint64_t{4} << 20;
/// How long a refused client may take to stop sending.
constexpr std::chrono::seconds kLinger(2);

std::string Text(beast::string_view view) {
    return {view.data(), view.size()};
}

/// Whether the client has sent something wrong, rather than gone.
bool IsMalformed(beast::error_code error) {
    return error.category() == http::make_error_code(http::error::bad_method).category() &&
           error != http::error::end_of_stream && error != http::error::partial_message;
}

/// One client over HTTP/1.1. While the handler has a request, only the handler's thread acts, and
/// waits for each piece it writes; otherwise all happens on the I/O thread.
class HttpSession final : public HttpReply, public std::enable_shared_from_this<HttpSession> {
public:
    HttpSession(asio::ip::tcp::socket socket, IoThread& io, HttpContext& context)
        : stream_(std::move(socket)), io_(io), context_(context) {}

    void ReadRequest() {
        parser_.emplace();
        parser_->header_limit(kLongestHeader);
        parser_->body_limit(kLongestBody);
        stream_.expires_after(kQuiet);
        http::async_read(
            stream_, buffer_, *parser_,
            [self = shared_from_this()](beast::error_code error, size_t) { self->OnRead(error); });
    }

    void Send(const HttpResponse& response) override {
        answered_ = true;
        auto message = std::make_shared<http::response<http::string_body>>();
        FillHead(*message, response.status, response.contentType);
        for (const auto& [name, value] : response.headers)
            message->set(name, value);
        message->body() = response.body;
        message->prepare_payload();
        if (!headOnly_) {
            Write([this, message](auto done) { http::async_write(stream_, *message, done); });
            return;
        }
        auto serializer = std::make_shared<http::response_serializer<http::string_body>>(*message);
        Write([this, message, serializer](auto done) {
            http::async_write_header(stream_, *serializer, done);
        });
    }

    void Begin(int status, const std::string& contentType) override {
        answered_ = true;
        inLines_ = true;
        // HTTP/1.0 knows no chunks: there the end of the connection ends the answer.
        chunked_ = version_ >= 11;
        keepAlive_ = keepAlive_ && chunked_;
        auto message = std::make_shared<http::response<http::empty_body>>();
        FillHead(*message, status, contentType);
        if (chunked_)
            message->chunked(true);
        auto serializer = std::make_shared<http::response_serializer<http::empty_body>>(*message);
        Write([this, message, serializer](auto done) {
            http::async_write_header(stream_, *serializer, done);
        });
    }

    bool WriteLine(const std::string& line) override {
        const auto text = std::make_shared<const std::string>(line + "\n");
        return Write([this, text](auto done) {
            if (chunked_)
                asio::async_write(stream_, http::make_chunk(asio::buffer(*text)), done);
            else
                asio::async_write(stream_, asio::buffer(*text), done);
        });
    }

    void End() override {
        inLines_ = false;
        if (!chunked_)
            return;
        Write([this](auto done) { asio::async_write(stream_, http::make_chunk_last(), done); });
    }

private:
    using Request = http::request<http::string_body>;

    void OnRead(beast::error_code error) {
        if (!error)
            OnRequest(parser_->release());
        else if (error == http::error::body_limit)
            Refuse(HttpFailure(413, "the body is longer than 4 MiB"));
        else if (error == http::error::header_limit)
            Refuse(HttpFailure(431, "the header is longer than 16 KiB"));
        else if (IsMalformed(error))
            Refuse(HttpFailure(400, "this is no HTTP request"));
    }

    void OnRequest(Request message) {
        keepAlive_ = message.keep_alive();
        version_ = message.version();
        HttpRequest request;
        if (!ReadHttpTarget(Text(message.target()), request)) {
            Refuse(HttpFailure(400, "the request target is broken"));
            return;
        }
        headOnly_ = message.method() == http::verb::head;
        request.method = headOnly_ ? "GET" : Text(message.method_string());
        request.authorization = Text(message[http::field::authorization]);
        request.origin = Text(message[http::field::origin]);
        request.host = Text(message[http::field::host]);
        if (const int refusal = context_.access.Refusal(request); refusal != 0)
            Refuse(HttpFailure(
                refusal, refusal == 401 ? "a token is needed" : "other sites have no access"));
        else if (beast::websocket::is_upgrade(message) && request.path == kStreamPath)
            StartPlayer(stream_.release_socket(), message, io_, context_.players);
        else {
            request.body = std::move(message.body());
            Dispatch(std::move(request));
        }
    }

    void Dispatch(HttpRequest request) {
        if (context_.ending) {
            Refuse(HttpFailure(503, "the server ends"));
            return;
        }
        stream_.expires_never();
        if (request.method != "POST")
            Run(context_.readers, std::move(request), [] {});
        else if (++context_.running <= HttpContext::kMostRunning)
            Run(context_.workers, std::move(request), [this] { --context_.running; });
        else {
            --context_.running;
            Refuse(HttpFailure(503, "too many requests are running"));
        }
    }

    template <class Done>
    void Run(asio::thread_pool& pool, HttpRequest request, Done done) {
        asio::post(pool, [self = shared_from_this(), request = std::move(request), done] {
            self->Handle(request);
            done();
            asio::post(self->io_.Context(), [self] { self->AfterAnswer(); });
        });
    }

    void Handle(const HttpRequest& request) noexcept {
        try {
            context_.handler(request, *this);
        } catch (const std::exception& error) {
            context_.players.log.Log(3, "Http", "%s: %s", request.path.c_str(), error.what());
        } catch (...) {
            context_.players.log.Log(3, "Http", "%s: unknown exception", request.path.c_str());
        }
        if (!answered_)
            Send(HttpFailure(500, "the request failed"));
        answered_ = false;
    }

    void AfterAnswer() {
        // A stream of lines without its end must not look whole.
        if (broken_ || inLines_ || !keepAlive_)
            Close();
        else
            ReadRequest();
    }

    /// Answers on the I/O thread and ends the session.
    void Refuse(const HttpResponse& response) {
        auto message = std::make_shared<http::response<http::string_body>>();
        keepAlive_ = false;
        FillHead(*message, response.status, response.contentType);
        message->body() = response.body;
        message->prepare_payload();
        stream_.expires_after(kQuiet);
        http::async_write(stream_, *message,
                          [self = shared_from_this(), message](beast::error_code error, size_t) {
                              if (error)
                                  self->Close();
                              else
                                  self->Linger();
                          });
    }

    /// Closing with bytes unread resets the connection, and the client may never see the answer.
    void Linger() {
        beast::error_code ignored;
        stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        buffer_.clear();
        stream_.expires_after(kLinger);
        DropInput();
    }

    void DropInput() {
        stream_.async_read_some(buffer_.prepare(kLongestHeader),
                                [self = shared_from_this()](beast::error_code error, size_t) {
                                    if (error)
                                        self->Close();
                                    else
                                        self->DropInput();
                                });
    }

    template <class Message>
    void FillHead(Message& message, int status, const std::string& contentType) {
        message.result(static_cast<unsigned>(status));
        message.version(version_);
        message.set(http::field::content_type, contentType);
        message.set(http::field::cache_control, "no-store");
        if (status == 401)
            message.set(http::field::www_authenticate, "Bearer");
        message.keep_alive(keepAlive_);
    }

    /// On the handler's thread: has the I/O thread write and waits for it.
    template <class Operation>
    bool Write(Operation operation) {
        if (broken_)
            return false;
        // Shared: the waiting side may be through before set_value has returned.
        const auto written = std::make_shared<std::promise<bool>>();
        asio::post(io_.Context(), [this, &operation, written] {
            stream_.expires_after(kQuiet);
            operation([written](beast::error_code error, size_t) { written->set_value(!error); });
        });
        broken_ = !written->get_future().get();
        return !broken_;
    }

    void Close() {
        beast::error_code ignored;
        stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        stream_.close();
    }

    beast::tcp_stream stream_;
    IoThread& io_;
    HttpContext& context_;
    beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::string_body>> parser_;
    bool keepAlive_ = false;
    unsigned version_ = 11;
    bool headOnly_ = false;  ///< the request is a HEAD: the answer has no body
    bool answered_ = false;  ///< the handler has begun an answer
    bool chunked_ = false;   ///< lines are framed
    bool inLines_ = false;   ///< an answer by lines has not been ended
    bool broken_ = false;    ///< the client is gone
};

}  // namespace

void StartHttpSession(asio::ip::tcp::socket socket, IoThread& io, HttpContext& context) {
    std::make_shared<HttpSession>(std::move(socket), io, context)->ReadRequest();
}

}  // namespace vms
