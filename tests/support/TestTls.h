#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>

struct ssl_ctx_st;
struct ssl_st;

namespace vms::test {

/// The client's side of TLS over a connected socket, which it makes non-blocking and does not own.
/// Trusts everybody. Its thread takes no SIGPIPE from then on.
class TestTls {
public:
    /// Waits for a descriptor as poll does. @return false when nothing came in time
    using Wait = bool (*)(int socket, short events);

    /// @param version 0 = the best that both have, else the only one, such as TLS1_2_VERSION
    TestTls(int socket, Wait wait, int version = 0);
    ~TestTls();
    TestTls(const TestTls&) = delete;
    TestTls& operator=(const TestTls&) = delete;

    [[nodiscard]] bool Shake();
    /// The first step of that only.
    [[nodiscard]] bool SendHello();
    /// @return false when the peer is gone or takes nothing
    bool Send(std::string_view bytes);
    /// @return bytes, 0 = the end, whether announced or not, -1 = nothing came in time
    ssize_t Receive(char* room, size_t size);
    /// Says that nothing more comes.
    void FinishSending();

    /// Whether the peer has said that nothing more comes.
    bool PeerHasFinished() const;
    /// Of the peer's certificate, as AB:CD:...; "" = none.
    std::string Fingerprint() const;
    /// For what else a client might do.
    ssl_st* Native() { return tls_; }

private:
    /// @return whether the step that ended so is worth another try
    bool MayGoOn(int result);

    const int socket_;
    const Wait wait_;
    ssl_ctx_st* const context_;
    ssl_st* const tls_;
    bool late_ = false;
};

}  // namespace vms::test
