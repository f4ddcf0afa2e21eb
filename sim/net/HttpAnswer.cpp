#include "sim/net/HttpAnswer.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>

namespace vms::sim {

namespace {

const char* Reason(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 302:
            return "Found";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 415:
            return "Unsupported Media Type";
        default:
            return "Internal Server Error";
    }
}

void AddField(std::string& head, const HttpStyle& style, std::string name,
              const std::string& value) {
    if (style.lowerCaseNames)
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    head += name + (style.lowerCaseNames ? ":" : ": ") + value + "\r\n";
}

// Leading zeros, digits of either case and an extension are all legal, and rare enough to matter.
std::string ChunkLine(size_t size, size_t number) {
    char digits[24];
    std::snprintf(digits, sizeof digits, "%04zX", size);
    if (number % 2 == 0)
        return std::string(digits).substr(std::string_view(digits).find_first_not_of('0')) + "\r\n";
    return std::string(digits) + ";part=\"" + std::to_string(number) + "\"\r\n";
}

}  // namespace

HttpFraming LengthFraming(long long length) {
    return {"Content-Length", std::to_string(length)};
}

HttpFraming ChunkFraming() {
    return {"Transfer-Encoding", "chunked"};
}

std::string WriteHead(const HttpAnswer& answer, const HttpStyle& style, const HttpFraming& framing,
                      bool keepAlive) {
    std::string head =
        "HTTP/1.1 " + std::to_string(answer.status) + ' ' + Reason(answer.status) + "\r\n";
    if (!style.server.empty())
        AddField(head, style, "Server", style.server);
    AddField(head, style, "Content-Type", answer.contentType);
    if (!framing.first.empty())
        AddField(head, style, framing.first, framing.second);
    AddField(head, style, "Connection", keepAlive ? "keep-alive" : "close");
    for (const auto& [name, value] : answer.headers)
        AddField(head, style, name, value);
    return head + "\r\n";
}

std::string WriteChunk(std::string_view data) {
    return ChunkLine(data.size(), 0).append(data).append("\r\n");
}

std::string WriteChunked(const std::string& body) {
    static constexpr std::array<size_t, 5> kSizes = {1, 7, 64, 333, 1021};
    std::string out;
    size_t at = 0;
    for (size_t i = 0; at < body.size(); ++i) {
        const size_t size = std::min(kSizes[i % kSizes.size()], body.size() - at);
        out += ChunkLine(size, i);
        out.append(body, at, size).append("\r\n");
        at += size;
    }
    return out + "0\r\nX-Trailer: end\r\n\r\n";
}

std::string WriteAnswer(const HttpAnswer& answer, const HttpStyle& style, bool keepAlive) {
    if (style.chunked)
        return WriteHead(answer, style, ChunkFraming(), keepAlive) + WriteChunked(answer.body);
    const auto length = static_cast<long long>(answer.body.size());
    return WriteHead(answer, style, LengthFraming(length), keepAlive) + answer.body;
}

}  // namespace vms::sim
