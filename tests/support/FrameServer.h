#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace vms::test {

/// A frame as it goes over the wire; everything can be set wrong.
struct Frame {
    int opcode = 0;  ///< 0 continuation, 1 text, 2 binary, 8 close, 9 ping, 10 pong
    std::string payload;
    bool fin = true;
    int rsv = 0;  ///< three bits
    bool masked = false;
};

std::string Encode(const Frame& frame);

/// Payload of a close frame.
std::string ClosePayload(int code, std::string_view reason = "");

/// The server's end of one connection, blocking, frame by frame. Thread-bound.
class FramePeer {
public:
    explicit FramePeer(int fd) : fd_(fd) {}
    ~FramePeer();
    FramePeer(const FramePeer&) = delete;
    FramePeer& operator=(const FramePeer&) = delete;

    /// Reads the request. @return false when none came in time
    [[nodiscard]] bool ReadRequest();
    const std::string& Request() const { return request_; }

    /// Reads the request and agrees to it. @param extra header lines, each with its line end
    [[nodiscard]] bool Upgrade(std::string_view extra = "");

    /// The key that agrees to the request.
    std::string AcceptKey() const;

    /// @return false when the connection is gone
    bool Write(std::string_view bytes) const;
    bool Write(const Frame& frame) const { return Write(Encode(frame)); }

    /// @return false at the end of the connection or when no whole frame came in time
    [[nodiscard]] bool Read(Frame& frame);

    /// Whether the client ends the connection in time; what comes before is thrown away.
    [[nodiscard]] bool ReadToEnd();

    int Descriptor() const { return fd_; }

private:
    bool Fill(size_t size);

    const int fd_;
    std::string request_;
    std::string pending_;  ///< read, but not yet taken
};

/// Listens on a free port of the loopback address.
class FrameServer {
public:
    FrameServer();
    ~FrameServer();
    FrameServer(const FrameServer&) = delete;
    FrameServer& operator=(const FrameServer&) = delete;

    uint16_t Port() const { return port_; }

    /// @return null when nobody came in time
    [[nodiscard]] std::unique_ptr<FramePeer> Accept();

    /// Accept and Upgrade. @return null when that failed
    [[nodiscard]] std::unique_ptr<FramePeer> AcceptUpgraded();

private:
    int fd_ = -1;
    uint16_t port_ = 0;
};

}  // namespace vms::test
