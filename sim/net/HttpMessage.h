#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace vms::sim {

/// One request as it was read from a connection.
struct HttpRequest {
    std::string method;
    std::string target;
    std::string contentType;
    std::string body;
    bool keepAlive = false;
    std::string localAddress;  ///< our address on this connection
    uint16_t localPort = 0;
};

/// What goes over the wire in answer, byte for byte: a device may break HTTP as it likes.
struct WireAnswer {
    enum class After { kKeepOpen, kClose, kHold };

    std::string bytes;
    std::string endlessTail;                    ///< repeated until the peer leaves; "" = no tail
    std::chrono::milliseconds delay{0};         ///< before the first byte
    std::chrono::milliseconds byteInterval{0};  ///< 0 = all at once, else one byte each interval
    After after = After::kClose;                ///< kHold: neither answer further nor close
};

/// Runs on an I/O thread; must not block and must not throw.
using HttpHandler = std::function<WireAnswer(const HttpRequest&)>;

}  // namespace vms::sim
