#include "host/http/HttpRequestReader.h"

#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/parser.hpp>

#include <algorithm>
#include <cctype>
#include <functional>
#include <utility>

#include "host/http/HttpTarget.h"
#include "host/http/HttpText.h"

namespace vms::host {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using beast::error_code;

/// Chunks end with no less than "0\r\n\r\n", and the library's parser may not be shown less than
/// that once it has seen the beginning of it.
constexpr size_t kLeastOfChunks = 5;

std::string_view View(beast::string_view text) {
    return {text.data(), text.size()};
}

/// A body on its way: what it takes and where that is booked.
struct Bytes {
    std::string text;
    size_t most = 0;
    BodyBudget* budget = nullptr;
    BodyBudget::Share share;
    bool isLonger = false;  ///< than it may be
    bool isBeyond = false;  ///< the budget
    size_t framing = 0;     ///< bytes of chunk extensions
};

/// The body type by which the library hands over what it reads. Memory grows as the bytes come,
/// whatever length has been announced, and is booked before it is taken.
struct BookedBody {
    using value_type = Bytes;

    class reader {
    public:
        template <bool isRequest, class Fields>
        reader(http::header<isRequest, Fields>&, Bytes& bytes) : bytes_(bytes) {}

        void init(const boost::optional<uint64_t>& length, error_code& error) {
            bytes_.most = std::min<uint64_t>(bytes_.most, length.value_or(bytes_.most));
            error = {};
        }

        template <class Buffers>
        size_t put(const Buffers& buffers, error_code& error) {
            const size_t count = beast::buffer_bytes(buffers);
            if (!Grow(count)) {
                error = http::error::body_limit;
                return 0;
            }
            error = {};
            for (const auto& buffer : beast::buffers_range_ref(buffers))
                bytes_.text.append(static_cast<const char*>(buffer.data()), buffer.size());
            return count;
        }

        void finish(error_code& error) { error = {}; }

    private:
        bool Grow(size_t count) {
            bytes_.isLonger = count > bytes_.most - bytes_.text.size();
            if (bytes_.isLonger)
                return false;
            const size_t size = bytes_.text.size() + count;
            if (size <= std::max(bytes_.share.Bytes(), BodyBudget::kUnbooked))
                return true;
            size_t room = std::min(bytes_.most, std::max(size, 2 * bytes_.share.Bytes()));
            if (!bytes_.share.Resize(*bytes_.budget, room)) {
                room = size;
                bytes_.isBeyond = !bytes_.share.Resize(*bytes_.budget, room);
            }
            if (bytes_.isBeyond)
                return false;
            bytes_.text.reserve(room);
            return true;
        }

        Bytes& bytes_;
    };
};

}  // namespace

struct HttpRequestReader::Parser {
    Parser(const HttpLimits& limits, size_t head) {
        message.header_limit(static_cast<uint32_t>(head) + 1);
        message.body_limit(UINT64_MAX);  // the body type knows better
        message.on_chunk_header(onChunk);
        message.get().body().most = limits.body;
    }

    Bytes& Body() { return message.get().body(); }

    size_t total = 0;  ///< bytes taken as the body, framing included
    bool lastChunk = false;
    std::function<void(uint64_t, beast::string_view, error_code&)> onChunk =
        [this](uint64_t size, beast::string_view extensions, error_code&) {
            Body().framing += extensions.size();
            lastChunk = size == 0;
        };
    http::request_parser<BookedBody> message;
};

HttpRequestReader::HttpRequestReader(const HttpLimits& limits) : limits_(limits) {}

HttpRequestReader::~HttpRequestReader() = default;

HttpRequestReader::Progress HttpRequestReader::Fail(int status, const std::string& error) {
    failure_ = HttpFailure(status, error);
    return Progress::kFailed;
}

HttpRequestReader::Progress HttpRequestReader::ReadHead(std::string& input) {
    // An empty line before a request is left over from the one before (RFC 9112, 2.2).
    size_t blank = 0;
    while (searched_ == 0 && input.compare(blank, 2, "\r\n") == 0)
        blank += 2;
    input.erase(0, blank);
    blank_ += blank;
    if (blank_ > limits_.head)
        return Fail(400, "this is no HTTP request");
    if (!input.empty() && input.front() != '\r' &&
        std::isalpha(static_cast<unsigned char>(input.front())) == 0)
        return Fail(400, "this is no HTTP request");
    const size_t end = input.find("\r\n\r\n", searched_);
    if (end == std::string::npos ? input.size() >= limits_.head : end + 4 > limits_.head)
        return Fail(431, "the header is longer than " + std::to_string(limits_.head) + " bytes");
    if (end == std::string::npos) {
        searched_ = input.size() < 3 ? 0 : input.size() - 3;
        return Progress::kMore;
    }
    head_ = input.substr(0, end + 4);
    input.erase(0, end + 4);
    return ParseHead();
}

HttpRequestReader::Progress HttpRequestReader::ParseHead() {
    parser_ = std::make_unique<Parser>(limits_, head_.size());
    error_code error;
    size_t taken = 0;
    do {
        taken += parser_->message.put(asio::buffer(head_) + taken, error);
    } while (!error && !parser_->message.is_header_done());
    if (error || taken != head_.size())
        return Fail(400, "this is no HTTP request");
    if (!CheckFields() || !ReadFields())
        return Progress::kFailed;
    return Progress::kDone;
}

/// Whatever two readers could understand differently is refused.
bool HttpRequestReader::CheckFields() {
    const auto& fields = parser_->message.get();
    const auto refuse = [this](int status, const char* error) {
        Fail(status, error);
        return false;
    };
    for (const http::field once :
         {http::field::host, http::field::authorization, http::field::origin,
          http::field::transfer_encoding, http::field::content_length, http::field::expect}) {
        if (fields.count(once) > 1)
            return refuse(400, "a header comes twice that must not");
    }
    if (fields.version() >= 11 && fields.count(http::field::host) == 0)
        return refuse(400, "the Host header is missing");
    if (!IsHttpHost(View(fields[http::field::host])))
        return refuse(400, "the Host header is broken");
    if (fields.count(http::field::transfer_encoding) != 0 &&
        (fields.count(http::field::content_length) != 0 || fields.version() < 11 ||
         !SameLetters(View(fields[http::field::transfer_encoding]), "chunked")))
        return refuse(400, "the transfer encoding is not understood");
    if (View(fields[http::field::content_length]).find(',') != std::string_view::npos)
        return refuse(400, "the length is not one number");
    if (fields.version() >= 11 && fields.count(http::field::expect) != 0 &&
        !SameLetters(View(fields[http::field::expect]), "100-continue"))
        return refuse(417, "this expectation cannot be met");
    return true;
}

bool HttpRequestReader::ReadFields() {
    const auto& fields = parser_->message.get();
    request_.version = fields.version();
    request_.isHead = fields.method() == http::verb::head;
    request_.method = request_.isHead ? "GET" : View(fields.method_string());
    request_.target = View(fields.target());
    request_.authorization = View(fields[http::field::authorization]);
    request_.origin = View(fields[http::field::origin]);
    request_.host = View(fields[http::field::host]);
    if (!ReadHttpTarget(request_.target, request_)) {
        Fail(400, "the request target is broken");
        return false;
    }
    for (const auto& field : fields)
        request_.headers.emplace_back(View(field.name_string()), View(field.value()));
    return true;
}

const std::string& HttpRequestReader::HeadText() const {
    return head_;
}

HttpRequest& HttpRequestReader::Request() {
    return request_;
}

bool HttpRequestReader::KeepsAlive() const {
    return parser_->message.keep_alive();
}

bool HttpRequestReader::AsksToUpgrade() const {
    return request_.version >= 11 && parser_->message.upgrade() &&
           parser_->message.get().count(http::field::upgrade) != 0;
}

bool HttpRequestReader::ExpectsContinue() const {
    return request_.version >= 11 && HasBody() &&
           parser_->message.get().count(http::field::expect) != 0;
}

bool HttpRequestReader::HasBody() const {
    return !parser_->message.is_done();
}

HttpRequestReader::Progress HttpRequestReader::ReadBody(std::string& input, BodyBudget& budget) {
    auto& message = parser_->message;
    Bytes& body = parser_->Body();
    body.budget = &budget;
    if (message.content_length().value_or(0) > limits_.body)
        body.isLonger = true;
    size_t taken = 0;
    error_code error = body.isLonger ? http::error::body_limit : error_code{};
    const size_t least = message.chunked() ? kLeastOfChunks : 1;
    while (!error && !message.is_done() && input.size() - taken >= least) {
        const size_t count = message.put(asio::buffer(input) + taken, error);
        taken += count;
        if (parser_->lastChunk && message.is_done())
            body.framing += count;  // the trailer
    }
    input.erase(0, taken);
    parser_->total += taken;
    if (error && error != http::error::need_more)
        return BodyFailure();
    if (!CheckLength(message.is_done() ? 0 : input.size()))
        return Progress::kFailed;
    if (!message.is_done())
        return Progress::kMore;
    request_.body = std::move(body.text);
    return Progress::kDone;
}

HttpRequestReader::Progress HttpRequestReader::BodyFailure() {
    if (parser_->Body().isLonger)
        return Fail(413, "the body is longer than " + std::to_string(limits_.body) + " bytes");
    if (parser_->Body().isBeyond)
        return Fail(503, "too much is being received");
    return Fail(400, "the body is broken");
}

/// @param waiting bytes that are part of a chunk's header or of the trailer
bool HttpRequestReader::CheckLength(size_t waiting) {
    if (head_.size() + parser_->Body().framing + waiting > limits_.head) {
        Fail(431, "header, chunk extensions and trailer are longer than " +
                      std::to_string(limits_.head) + " bytes");
        return false;
    }
    if (parser_->total > 2 * limits_.body + limits_.head) {
        Fail(400, "the body comes in too many chunks");
        return false;
    }
    return true;
}

BodyBudget::Share HttpRequestReader::TakeShare() {
    return parser_ == nullptr ? BodyBudget::Share() : std::move(parser_->Body().share);
}

}  // namespace vms::host
