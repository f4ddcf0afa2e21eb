// From Connect to OnConnect, or to the OnClose that says why not.
#include <gtest/gtest.h>

#include <sys/socket.h>

#include "tests/platform/websocket/EventRecorder.h"
#include "tests/support/FrameServer.h"

namespace vms::test {
namespace {

constexpr int kNotConnected = -1, kTimedOut = -2, kStopped = -3;
constexpr int kAmple = 20'000;

class Handshake : public testing::Test {
protected:
    bool Connect(const char* path = "", const char* protocol = "", int timeoutMs = kAmple,
                 const char* host = "127.0.0.1") {
        return client_->Connect(host, server_.Port(), path, protocol, timeoutMs, false);
    }

    /// The one event of a connection that never was.
    Event Failure() {
        EXPECT_TRUE(events_.WaitForClose());
        EXPECT_EQ(events_.Events().size(), 1u);
        EXPECT_TRUE(Eventually([this] { return client_->GetCloseStatus(); }));
        return events_.Last();
    }

    FrameServer server_;
    EventRecorder events_;
    ClientPtr client_ = MakeClient(&events_);
};

bool HasLine(const std::string& request, const std::string& line) {
    return request.find("\r\n" + line + "\r\n") != std::string::npos;
}

TEST_F(Handshake, RequestSaysPathHostAndOfferedProtocol) {
    ASSERT_TRUE(Connect("events", "websocket"));
    const auto peer = server_.AcceptUpgraded();
    ASSERT_NE(peer, nullptr);
    const std::string& request = peer->Request();
    EXPECT_TRUE(request.starts_with("GET /events HTTP/1.1\r\n")) << request;
    EXPECT_TRUE(HasLine(request, "Host: 127.0.0.1:" + std::to_string(server_.Port()))) << request;
    EXPECT_TRUE(HasLine(request, "Sec-WebSocket-Protocol: websocket")) << request;
    EXPECT_TRUE(HasLine(request, "Sec-WebSocket-Version: 13")) << request;
    EXPECT_EQ(request.find("Sec-WebSocket-Extensions"), std::string::npos) << request;
    ASSERT_TRUE(events_.WaitForConnect());
    EXPECT_EQ(events_.Events()[0].text, "");
    EXPECT_FALSE(client_->GetCloseStatus());
}

TEST_F(Handshake, EmptyPathIsTheRootAndTheChosenProtocolIsTold) {
    ASSERT_TRUE(Connect("", "websocket"));
    const auto peer = server_.Accept();
    ASSERT_NE(peer, nullptr);
    ASSERT_TRUE(peer->Upgrade("Sec-WebSocket-Protocol: websocket\r\n"));
    EXPECT_TRUE(peer->Request().starts_with("GET / HTTP/1.1\r\n")) << peer->Request();
    ASSERT_TRUE(events_.WaitForConnect());
    EXPECT_EQ(events_.Events()[0].text, "websocket");
}

TEST_F(Handshake, FirstMessageMayComeWithTheAnswer) {
    ASSERT_TRUE(Connect());
    const auto peer = server_.Accept();
    ASSERT_NE(peer, nullptr);
    ASSERT_TRUE(peer->ReadRequest());
    ASSERT_TRUE(
        peer->Write("HTTP/1.1 101 OK\r\nUpgrade: WebSocket\r\nConnection: keep-alive, "
                    "upgrade\r\nSec-WebSocket-Accept: " +
                    peer->AcceptKey() + "\r\n\r\n" + Encode({1, "at once"})));
    ASSERT_TRUE(events_.WaitForEvents(2));
    EXPECT_EQ(events_.Messages(), std::vector<std::string>{"at once"});
}

struct Refusal {
    const char* name;
    const char* answer;
    const char* message;
};

class RefusedHandshake : public Handshake, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedHandshake, EndsWithItsReason) {
    ASSERT_TRUE(Connect("", "websocket"));
    const auto peer = server_.Accept();
    ASSERT_NE(peer, nullptr);
    ASSERT_TRUE(peer->ReadRequest());
    std::string answer = GetParam().answer;
    if (const size_t place = answer.find("KEY"); place != std::string::npos)
        answer.replace(place, 3, peer->AcceptKey());
    ASSERT_TRUE(peer->Write(answer));
    const Event failure = Failure();
    EXPECT_EQ(failure.code, kNotConnected);
    EXPECT_EQ(failure.text, GetParam().message);
    EXPECT_TRUE(peer->ReadToEnd());
}

INSTANTIATE_TEST_SUITE_P(
    Answers, RefusedHandshake,
    testing::Values(
        Refusal{"Unauthorized", "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n",
                "upgrade: HTTP status 401"},
        Refusal{"WrongKey",
                "HTTP/1.1 101 OK\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                "Sec-WebSocket-Accept: AAAAAAAAAAAAAAAAAAAAAAAAAAA=\r\n\r\n",
                "upgrade: The WebSocket handshake Sec-WebSocket-Accept field is invalid"},
        Refusal{"InventedProtocol",
                "HTTP/1.1 101 OK\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                "Sec-WebSocket-Protocol: chat\r\nSec-WebSocket-Accept: KEY\r\n\r\n",
                "upgrade: a sub-protocol that was not offered"},
        Refusal{"NotHttp", "SSH-2.0-OpenSSH\r\n\r\n", "upgrade: bad version"}),
    [](const auto& test) { return test.param.name; });

TEST_F(Handshake, EndlessHeaderIsCutOff) {
    ASSERT_TRUE(Connect());
    const auto peer = server_.Accept();
    ASSERT_NE(peer, nullptr);
    ASSERT_TRUE(peer->ReadRequest());
    std::string line = "X: " + std::string(1000, 'x') + "\r\n";
    bool open = peer->Write("HTTP/1.1 101 OK\r\n");
    for (int i = 0; open && i < 100'000; ++i)
        open = peer->Write(line);
    EXPECT_FALSE(open);
    EXPECT_EQ(Failure().code, kNotConnected);
}

TEST_F(Handshake, ServerThatHangsUpIsNoConnection) {
    ASSERT_TRUE(Connect());
    ASSERT_NE(server_.Accept(), nullptr);
    EXPECT_EQ(Failure().code, kNotConnected);
}

TEST_F(Handshake, NobodyListening) {
    const uint16_t port = FrameServer().Port();
    ASSERT_TRUE(client_->Connect("127.0.0.1", port, "", "", kAmple, false));
    const Event failure = Failure();
    EXPECT_EQ(failure.code, kNotConnected);
    EXPECT_EQ(failure.text, "connect: Connection refused");
}

TEST_F(Handshake, TimeOutCoversASilentServer) {
    ASSERT_TRUE(Connect("", "", 50));
    const auto peer = server_.Accept();
    ASSERT_NE(peer, nullptr);
    EXPECT_EQ(Failure().code, kTimedOut);
    EXPECT_TRUE(peer->ReadToEnd());
}

TEST_F(Handshake, TimeOutCoversTlsWithAServerThatSpeaksNone) {
    ASSERT_TRUE(client_->Connect("127.0.0.1", server_.Port(), "", "", 50, true));
    const auto peer = server_.Accept();
    ASSERT_NE(peer, nullptr);
    EXPECT_EQ(Failure().code, kTimedOut);
}

TEST_F(Handshake, StopGivesUpConnecting) {
    ASSERT_TRUE(Connect());
    const auto peer = server_.Accept();
    ASSERT_NE(peer, nullptr);
    client_->Stop();
    EXPECT_EQ(Failure().code, kStopped);
    EXPECT_TRUE(peer->ReadToEnd());
}

TEST_F(Handshake, StopBeforeConnectIsTheEnd) {
    EXPECT_FALSE(client_->GetCloseStatus());
    client_->Stop();
    EXPECT_TRUE(client_->GetCloseStatus());
    EXPECT_FALSE(Connect());
    EXPECT_TRUE(events_.Events().empty());
}

TEST_F(Handshake, UnusableArgumentsAreRefusedAtOnce) {
    const auto refused = [this](const char* host, int port, const char* path, const char* protocol,
                                int timeoutMs) {
        const ClientPtr client = MakeClient(&events_);
        return !client->Connect(host, port, path, protocol, timeoutMs, false) &&
               client->GetCloseStatus();
    };
    EXPECT_TRUE(refused(nullptr, 80, "", "", kAmple));
    EXPECT_TRUE(refused("", 80, "", "", kAmple));
    EXPECT_TRUE(refused("a b", 80, "", "", kAmple));
    EXPECT_TRUE(refused("host/path", 80, "", "", kAmple));
    EXPECT_TRUE(refused("127.0.0.1", 0, "", "", kAmple));
    EXPECT_TRUE(refused("127.0.0.1", 65536, "", "", kAmple));
    EXPECT_TRUE(refused("127.0.0.1", 80, "/a\r\nX: y", "", kAmple));
    EXPECT_TRUE(refused("127.0.0.1", 80, "", "a\r\nX: y", kAmple));
    EXPECT_TRUE(refused("127.0.0.1", 80, "", "", 0));
    EXPECT_TRUE(events_.Events().empty());
}

TEST_F(Handshake, AClientConnectsOnce) {
    ASSERT_TRUE(Connect());
    const auto peer = server_.AcceptUpgraded();
    ASSERT_NE(peer, nullptr);
    EXPECT_FALSE(Connect());
    ASSERT_TRUE(events_.WaitForConnect());
    EXPECT_TRUE(client_->Send("x", 1));
    EXPECT_FALSE(client_->GetCloseStatus());
}

}  // namespace
}  // namespace vms::test
