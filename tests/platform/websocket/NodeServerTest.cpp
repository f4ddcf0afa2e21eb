// The client against a WebSocket server of others, plain and with TLS.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <random>
#include <thread>

#include "platform/ILogHandler.h"
#include "platform/Json.h"
#include "platform/WebSocketSettings.h"
#include "tests/platform/websocket/EventRecorder.h"
#include "tests/platform/websocket/SelfSigned.h"
#include "tests/support/ChildProcess.h"

namespace vms::test {
namespace {

/// One server process for all tests.
struct NodeServer {
    NodeServer() {
        std::string line;
        if (!process.ReadLine(line, std::chrono::seconds(30)) ||
            std::sscanf(line.c_str(), "%d %d", &plainPort, &tlsPort) != 2)
            throw std::runtime_error("the server did not start");
    }

    SelfSigned identity;
    ChildProcess process{{NODE_PROGRAM, NODE_SERVER, identity.Certificate(), identity.Key()}};
    int plainPort = 0;
    int tlsPort = 0;
};

class NodeServerTest : public testing::Test {
protected:
    static void SetUpTestSuite() { server = std::make_unique<NodeServer>(); }
    static void TearDownTestSuite() { server.reset(); }
    void TearDown() override { SetWebSocketSettings({}); }

    static bool Connect(IWebSocketClient& client, const char* path, bool secure,
                        const char* host = "127.0.0.1") {
        const int port = secure ? server->tlsPort : server->plainPort;
        return client.Connect(host, port, path, "websocket", 20'000, secure);
    }

    /// The outcome of a TLS connection made with these settings.
    Event TlsOutcome(const WebSocketSettings& settings, const char* host) {
        SetWebSocketSettings(settings);
        EventRecorder events;
        const ClientPtr client = MakeClient(&events);
        EXPECT_TRUE(Connect(*client, "/mirror", true, host));
        EXPECT_TRUE(events.WaitForEvents(1));
        return events.Events().empty() ? Event{} : events.Events()[0];
    }

    static inline std::unique_ptr<NodeServer> server;
    EventRecorder events_;
    ClientPtr client_ = MakeClient(&events_);
};

class EitherServer : public NodeServerTest, public testing::WithParamInterface<bool> {};

TEST_P(EitherServer, TellsWhatWasAskedAndEchoes) {
    ASSERT_TRUE(Connect(*client_, "", GetParam()));
    ASSERT_TRUE(events_.WaitForEvents(2));
    EXPECT_EQ(events_.Events()[0].text, "websocket");
    Json::Value told;
    ASSERT_TRUE(ParseJson(events_.Events()[1].text.c_str(), told));
    EXPECT_EQ(told["url"].asString(), "/");
    EXPECT_EQ(told["headers"]["sec-websocket-protocol"].asString(), "websocket");

    std::vector<std::string> texts;
    for (const size_t size : {0u, 1u, 125u, 126u, 65535u, 65536u, 500'000u})
        texts.emplace_back(size, 'x');
    texts.emplace_back("\xe2\x82\xac \xf0\x9f\x93\xb7");
    for (const std::string& text : texts)
        ASSERT_TRUE(client_->Send(text.data(), static_cast<int>(text.size())));
    ASSERT_TRUE(events_.WaitForEvents(2 + texts.size()));
    std::vector<std::string> echoed = events_.Messages();
    echoed.erase(echoed.begin());
    EXPECT_EQ(echoed, texts);
}

TEST_P(EitherServer, TakesABurstInOrderAndTheCloseBehindIt) {
    const size_t sizes[] = {0, 1, 125, 126, 65535, 65536, 1000000};
    ASSERT_TRUE(Connect(*client_, "burst?n=70", GetParam()));
    ASSERT_TRUE(events_.WaitForClose());
    const std::vector<std::string> messages = events_.Messages();
    ASSERT_EQ(messages.size(), 70u);
    for (size_t i = 0; i < messages.size(); ++i)
        ASSERT_EQ(messages[i], std::string(sizes[i % 7], static_cast<char>(i))) << i;
    EXPECT_EQ(events_.Last().code, 1000);
    EXPECT_EQ(events_.Last().text, "done");
}

TEST_P(EitherServer, ClosesPingsAndRefusalsArrive) {
    ASSERT_TRUE(Connect(*client_, "/close?code=4321&reason=moved", GetParam()));
    ASSERT_TRUE(events_.WaitForClose());
    EXPECT_EQ(events_.Last().code, 4321);
    EXPECT_EQ(events_.Last().text, "moved");

    EventRecorder pinged;
    const ClientPtr second = MakeClient(&pinged);
    ASSERT_TRUE(Connect(*second, "ping", GetParam()));
    ASSERT_TRUE(pinged.WaitForEvents(2));
    EXPECT_EQ(pinged.Messages(), std::vector<std::string>{"pong are you there"});

    EventRecorder refused;
    const ClientPtr third = MakeClient(&refused);
    ASSERT_TRUE(Connect(*third, "secret", GetParam()));
    ASSERT_TRUE(refused.WaitForClose());
    EXPECT_EQ(refused.Last().text, "upgrade: HTTP status 401");
}

TEST_P(EitherServer, StopIsACleanClose) {
    ASSERT_TRUE(Connect(*client_, "mirror", GetParam()));
    ASSERT_TRUE(events_.WaitForConnect());
    ASSERT_TRUE(client_->Send("x", 1));
    ASSERT_TRUE(events_.WaitForEvents(2));
    client_->Stop();
    ASSERT_TRUE(events_.WaitForClose());
    EXPECT_EQ(events_.Last().code, 1000);
}

/// A client that is released once, by whoever comes first: the test, or one of its own events.
class Round {
public:
    /// @param eventsUntilRelease 0 = events never release
    explicit Round(int eventsUntilRelease) : budget_(eventsUntilRelease) {
        events_.hook = [this](const Event& event) {
            if (--budget_ == 0 && Release())
                releasedInside_ = true;
            else if (event.kind != Event::kClose)
                raw_->Send("again", 5);
        };
    }
    ~Round() {
        EXPECT_TRUE(!TakenByEvent() || Eventually([this] { return releasedInside_.load(); }));
    }

    IWebSocketClient& Client() { return *raw_; }
    bool Release() {
        IWebSocketClient* const client = owner_.exchange(nullptr);
        if (client != nullptr)
            client->Release();
        return client != nullptr;
    }
    void ReleaseOutside() { releasedOutside_ = Release(); }

private:
    bool TakenByEvent() const { return !releasedOutside_; }

    EventRecorder events_;
    IWebSocketClient* const raw_ = MakeClient(&events_).release();
    std::atomic<IWebSocketClient*> owner_{raw_};
    std::atomic<int> budget_;
    std::atomic<bool> releasedInside_{false};
    bool releasedOutside_ = false;
};

TEST_P(EitherServer, ReleaseAtAnyMoment) {
    constexpr int kRounds = 300;
    const char* const paths[] = {"mirror", "", "burst?n=5", "close?code=1000", "deaf"};
    std::mt19937 random(GetParam() ? 1 : 2);
    std::vector<std::unique_ptr<Round>> rounds;
    for (int i = 0; i < kRounds; ++i) {
        const bool inside = random() % 3 == 0;
        rounds.push_back(std::make_unique<Round>(inside ? 1 + static_cast<int>(random() % 8) : 0));
        Round& round = *rounds.back();
        ASSERT_TRUE(Connect(round.Client(), paths[random() % std::size(paths)], GetParam()));
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
        if (!inside && random() % 2 == 0)
            round.Client().Stop();
        round.ReleaseOutside();
    }
}

INSTANTIATE_TEST_SUITE_P(Servers, EitherServer, testing::Values(false, true),
                         [](const auto& test) { return test.param ? "Tls" : "Plain"; });

/// Counts warnings. Thread-safe.
class WarningCounter final : public ILogHandler {
public:
    void SetLevel(int) override {}
    void Log(int, const char*, const char*, ...) override { ++count; }
    std::atomic<int> count{0};
};

TEST_F(NodeServerTest, CertificatesAreCheckedWhenAsked) {
    WarningCounter log;
    SetWebSocketLog(&log);
    WebSocketSettings settings;
    EXPECT_EQ(TlsOutcome(settings, "127.0.0.1").kind, Event::kConnect);
    EXPECT_EQ(TlsOutcome(settings, "localhost").kind, Event::kConnect);
    EXPECT_EQ(log.count, 1) << "says so once";
    SetWebSocketLog(nullptr);

    settings.verifyCertificates = true;
    EXPECT_EQ(TlsOutcome(settings, "127.0.0.1").text, "TLS: self-signed certificate");
    settings.trustedCertificates = server->identity.Certificate();
    EXPECT_EQ(TlsOutcome(settings, "127.0.0.1").kind, Event::kConnect);
    EXPECT_EQ(TlsOutcome(settings, "localhost").kind, Event::kConnect);
    EXPECT_EQ(TlsOutcome(settings, "127.0.0.2").text, "TLS: IP address mismatch");

    settings.trustedCertificates = "/does/not/exist.pem";
    SetWebSocketSettings(settings);
    EXPECT_FALSE(Connect(*client_, "/mirror", true));
    EXPECT_TRUE(client_->GetCloseStatus());
}

}  // namespace
}  // namespace vms::test
