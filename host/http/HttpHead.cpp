#include "host/http/HttpHead.h"

#include <boost/beast/http/status.hpp>

namespace vms::host {
namespace {

void AddHeader(std::string& head, std::string_view name, std::string_view value) {
    head += name;
    head += ": ";
    for (const char letter : value)
        head += letter == '\r' || letter == '\n' || letter == '\0' ? ' ' : letter;
    head += "\r\n";
}

std::string StatusLine(int status) {
    const auto reason =
        boost::beast::http::obsolete_reason(static_cast<boost::beast::http::status>(status));
    return "HTTP/1.1 " + std::to_string(status) + " " + std::string(reason.data(), reason.size()) +
           "\r\n";
}

void AddFraming(std::string& head, const HttpFraming& framing) {
    if (framing.isChunked)
        AddHeader(head, "Transfer-Encoding", "chunked");
    else if (framing.length)
        AddHeader(head, "Content-Length", std::to_string(*framing.length));
    if (framing.keepsAlive && framing.isOldClient)
        AddHeader(head, "Connection", "keep-alive");
    else if (!framing.keepsAlive && !framing.isOldClient)
        AddHeader(head, "Connection", "close");
}

}  // namespace

std::string HttpHead(const HttpResponse& response, const HttpFraming& framing) {
    std::string head = StatusLine(response.status);
    if (!response.contentType.empty())
        AddHeader(head, "Content-Type", response.contentType);
    if (response.headers.count("Cache-Control") == 0)
        AddHeader(head, "Cache-Control", "no-store");
    if (response.status == 401 && response.headers.count("WWW-Authenticate") == 0)
        AddHeader(head, "WWW-Authenticate", "Bearer");
    for (const auto& [name, value] : response.headers)
        AddHeader(head, name, value);
    AddFraming(head, framing);
    return head + "\r\n";
}

}  // namespace vms::host
