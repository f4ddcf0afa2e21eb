#pragma once

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/net/Connection.h"
#include "host/net/SelfSigned.h"
#include "host/net/WireListener.h"
#include "host/process/LogSink.h"
#include "platform/Mutex.h"
#include "tests/support/TestSocket.h"

namespace vms::host::test {

using vms::test::TestSocket;

/// Sends back what it reads, until the client ends. Of its I/O thread.
class EchoSession : public std::enable_shared_from_this<EchoSession> {
public:
    EchoSession(std::unique_ptr<Wire> wire, IoThread& io)
        : connection_(std::make_shared<Connection>(std::move(wire), io, SendLimits{})) {}

    void Read() {
        connection_->GetWire().ReadSome(
            boost::asio::buffer(room_),
            [self = shared_from_this()](boost::system::error_code error, size_t count) {
                if (error) {
                    self->connection_->GetWire().EndSending();
                    self->connection_->Close();
                    return;
                }
                self->connection_->Send({}, {self->room_.data(), count}, SendQueue::Class::kPiece);
                self->Read();
            });
    }

    const std::shared_ptr<Connection>& Peer() const { return connection_; }

private:
    const std::shared_ptr<Connection> connection_;
    std::array<char, 1000> room_{};
};

/// A port in this process that sends back what it gets, over TLS and plain.
class EchoFixture : public testing::Test {
protected:
    EchoFixture() {
        credentials_ = MakeSelfSigned({"localhost"});
        tls_ = std::make_shared<TlsContext>([this] { return credentials_; });
    }
    ~EchoFixture() override {
        if (listener_ != nullptr)
            listener_->Stop();
        io_.Stop();
    }

    void Start() {
        listener_ =
            std::make_unique<WireListener>("127.0.0.1", 0, std::vector{&io_}, tls_, log_, limits_);
        listener_->Start([this](std::unique_ptr<Wire> wire, IoThread& io) {
            const auto session = std::make_shared<EchoSession>(std::move(wire), io);
            session->Read();
            MutexLock lock(mutex_);
            latest_ = session->Peer();
        });
    }

    int Port() const { return listener_->Port(); }
    TlsCounts Counts() const { return listener_->Handshakes(); }

    /// The server's side of the client that came last and has had an echo.
    std::shared_ptr<Connection> Latest() {
        MutexLock lock(mutex_);
        return std::exchange(latest_, nullptr);
    }

    /// Whether the kernel does the sending, which knows one key only.
    static bool IsSentByKernel(Connection& connection) {
        return connection.GetWire().PlainSocket() >= 0;
    }

    /// Whether what the client sends comes back.
    static bool Echoes(TestSocket& client, const std::string& text) {
        std::string answer;
        return client.Send(text) && client.Read(text.size(), answer) && answer == text;
    }

    /// A client that has been let in. @param version see TestTls
    std::unique_ptr<TestSocket> Secure(int version = 0) const {
        auto client = std::make_unique<TestSocket>(Port());
        EXPECT_TRUE(client->StartTls(version));
        EXPECT_TRUE(Echoes(*client, "hello"));
        return client;
    }

    TlsCredentials credentials_;
    TlsLimits limits_;
    LogSink log_{"test", LogPrinting::kNothing};
    IoThread io_;
    std::shared_ptr<TlsContext> tls_;
    std::unique_ptr<WireListener> listener_;
    Mutex mutex_;
    std::shared_ptr<Connection> latest_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host::test
