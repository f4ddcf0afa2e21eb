#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tests/support/TestTls.h"

namespace vms::test {

/// A raw TCP connection to a port of this machine, or one over TLS. Reading and writing give up
/// after 20 seconds.
class TestSocket {
public:
    /// @param receiveBuffer bytes the kernel may hold for a peer that does not read, 0 = its
    /// default
    /// @param from the end's own address, in 127.0.0.0/8
    /// @throws std::runtime_error when nobody listens
    explicit TestSocket(int port, int receiveBuffer = 0, const char* from = "127.0.0.1");
    ~TestSocket();
    TestSocket(const TestSocket&) = delete;
    TestSocket& operator=(const TestSocket&) = delete;

    /// Speaks TLS from here on. @param version see TestTls @return false when the peer refuses
    [[nodiscard]] bool StartTls(int version = 0);
    /// Begins a handshake, and waits for the peer's answer without reading it.
    [[nodiscard]] bool BeginTls();
    /// Null without.
    TestTls* Tls() { return tls_.get(); }

    /// @return false when the peer is gone or takes nothing
    bool Send(std::string_view bytes);

    /// Takes exactly `count` bytes. @return false when they did not come
    [[nodiscard]] bool Read(size_t count, std::string& bytes);
    /// Takes all up to and with a mark. @return false when it did not come
    [[nodiscard]] bool ReadUntil(std::string_view mark, std::string& text);
    /// Drops what comes. @return false when the peer has not ended the connection in time
    [[nodiscard]] bool ReadToEnd(std::string& bytes);

    /// Ends the sending side.
    void FinishSending();
    /// Ends the connection with a reset, as a peer that has died.
    void Reset();

private:
    /// @return bytes added to what has been received, 0 at the end, -1 when nothing came in time
    int Receive();
    static bool Wait(int socket, short events);

    int socket_ = -1;
    std::unique_ptr<TestTls> tls_;
    std::string received_;
};

}  // namespace vms::test
