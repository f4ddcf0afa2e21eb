#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "host/http/BodyBudget.h"
#include "host/http/HttpExchange.h"

namespace vms::host {

/// How long a request may be.
struct HttpLimits {
    size_t head;  ///< bytes of header, chunk extensions and trailer together
    size_t body;  ///< bytes; the chunks of one are read up to twice as many
};

/// Reads one request of HTTP/1.x from the bytes of a connection as they come: first its head, then,
/// once it has been let in, its body. Stricter than the standard asks where two readers could
/// disagree. Not thread-safe.
class HttpRequestReader {
public:
    enum class Progress {
        kMore,    ///< needs more input
        kDone,    ///< the head, or the body, is there
        kFailed,  ///< Failure says why; what follows in the connection means nothing
    };

    explicit HttpRequestReader(const HttpLimits& limits);
    ~HttpRequestReader();
    HttpRequestReader(const HttpRequestReader&) = delete;
    HttpRequestReader& operator=(const HttpRequestReader&) = delete;

    /// Takes what belongs to the head off the input's front. While it needs more the input stays
    /// shorter than a head may be.
    Progress ReadHead(std::string& input);

    // Once the head is there:

    const std::string& HeadText() const;  ///< as it came, up to and including the blank line
    HttpRequest& Request();
    bool KeepsAlive() const;       ///< the client may send another one
    bool AsksToUpgrade() const;    ///< to another protocol
    bool ExpectsContinue() const;  ///< waits to be told before it sends the body
    bool HasBody() const;

    /// Takes what belongs to the body off the input's front; the request's body is complete with
    /// kDone. While it needs more the input stays about as short as a head may be.
    /// @param budget must outlive this object and the share
    Progress ReadBody(std::string& input, BodyBudget& budget);

    /// What of the budget the body takes.
    BodyBudget::Share TakeShare();

    /// After kFailed.
    const HttpResponse& Failure() const { return failure_; }

private:
    struct Parser;

    Progress Fail(int status, const std::string& error);
    Progress ParseHead();
    bool ReadFields();
    bool CheckFields();
    Progress BodyFailure();
    bool CheckLength(size_t waiting);

    const HttpLimits limits_;
    std::unique_ptr<Parser> parser_;
    std::string head_;
    size_t searched_ = 0;  ///< no end of the head begins before here
    size_t blank_ = 0;     ///< bytes of empty lines before the head
    HttpRequest request_;
    HttpResponse failure_;
};

}  // namespace vms::host
