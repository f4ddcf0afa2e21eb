#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vms::sim {

/// How a device writes its HTTP answers.
struct HttpStyle {
    bool chunked = false;  ///< uneven chunks with extensions and a trailer
    bool keepAlive = true;
    bool lowerCaseNames = false;
    std::string server;
};

struct HttpAnswer {
    int status = 200;
    std::string contentType = "application/soap+xml; charset=utf-8";
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
};

/// The header field that says where a body ends; an empty name leaves it to the closing.
using HttpFraming = std::pair<std::string, std::string>;

HttpFraming LengthFraming(long long length);
HttpFraming ChunkFraming();

/// Status line and header fields with the empty line.
std::string WriteHead(const HttpAnswer& answer, const HttpStyle& style, const HttpFraming& framing,
                      bool keepAlive);

/// One chunk.
std::string WriteChunk(std::string_view data);

/// The body cut into chunks whose boundaries fall inside tags.
std::string WriteChunked(const std::string& body);

/// The whole answer.
std::string WriteAnswer(const HttpAnswer& answer, const HttpStyle& style, bool keepAlive);

}  // namespace vms::sim
