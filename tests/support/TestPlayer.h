#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

#include "tests/support/TestSocket.h"

namespace vms::test {

/// A player on a raw socket: speaks WebSocket (RFC 6455) by itself, and can do it wrongly.
class TestPlayer {
public:
    enum Opcode { kText = 1, kBinary = 2, kClose = 8, kPing = 9, kPong = 10 };

    struct Frame {
        int opcode = 0;
        std::string payload;
    };

    /// Connects and upgrades. @throws std::runtime_error when the server does not agree
    explicit TestPlayer(int port, int receiveBuffer = 0, const std::string& target = "/stream",
                        bool isSecure = false);

    /// A whole frame as a client sends it.
    static std::string Encode(int opcode, const std::string& payload, bool masked = true,
                              bool final = true);

    bool Send(int opcode, const std::string& payload) {
        return socket_.Send(Encode(opcode, payload));
    }
    bool SendRequest(int32_t command, const std::string& key, const std::string& body = {});

    /// The next frame of any kind. @return false at the end, or for a frame no server may send
    [[nodiscard]] bool Next(Frame& frame);

    /// Sends a request and skips what comes before its answer. @return its result, -100 = none came
    int Ask(int32_t command, const std::string& key, const std::string& body = {});

    TestSocket& Socket() { return socket_; }

private:
    TestSocket socket_;
};

/// The upgrade request of a player, to be changed and sent by hand.
std::string UpgradeRequest(const std::string& target);

}  // namespace vms::test
