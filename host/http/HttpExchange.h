#pragma once

#include <functional>
#include <map>
#include <string>

namespace vms {

/// A request of the host's HTTP API.
struct HttpRequest {
    std::string method;                        ///< upper case
    std::string path;                          ///< decoded, without the query
    std::map<std::string, std::string> query;  ///< decoded
    std::string authorization;                 ///< header, "" = none
    std::string origin;                        ///< header, "" = none
    std::string host;                          ///< header, "" = none
    std::string body;                          ///< at most 4 MiB
};

struct HttpResponse {
    int status = 200;
    std::string contentType = "application/json";
    std::string body;
    std::map<std::string, std::string> headers{};  ///< further ones
};

/// Where a handler puts its answer: either one Send, or Begin, any number of WriteLine, End. Used
/// by one thread.
class HttpReply {
public:
    virtual void Send(const HttpResponse& response) = 0;

    /// Begins an answer of unknown length, a line at a time.
    virtual void Begin(int status, const std::string& contentType) = 0;
    /// Waits until the line has gone out. @return false when the client is gone
    virtual bool WriteLine(const std::string& line) = 0;
    virtual void End() = 0;

protected:
    ~HttpReply() = default;
};

/// Serves one request; called on a thread that may wait.
using HttpHandler = std::function<void(const HttpRequest&, HttpReply&)>;

/// {"error": text} with a status.
HttpResponse HttpFailure(int status, const std::string& error);

}  // namespace vms
