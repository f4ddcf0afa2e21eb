// How answers reach their clients: at once or later, whole, in pieces, pulled or without end.
#include <gmock/gmock-matchers.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <stdexcept>

#include "host/net/Connection.h"
#include "tests/host/http/HttpServerFixture.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using Reply = std::shared_ptr<HttpReply>;
using test::Eventually;
using test::Fetch;
using test::TestHttp;
using test::TestResponse;
using test::TestSocket;

/// What a test sees of a body that the server has.
struct BodyState {
    std::atomic<uint64_t> given{0};
    std::atomic<bool> destroyed{false};
    std::mutex mutex;
    std::deque<HttpBody::Sink> sinks;  ///< that wait, of a body that is not at once
};

uint8_t ByteAt(uint64_t place) {
    return static_cast<uint8_t>(place * 7 + place / 251);
}

/// A body of so many bytes that can be told apart, in pieces of so many.
class CountedBody final : public HttpBody {
public:
    struct Shape {
        std::optional<uint64_t> announced{};
        uint64_t bytes = 0;
        size_t piece = kMostBytes;
        bool fails = false;    ///< at its end
        bool isLater = false;  ///< whoever holds the state answers
    };

    CountedBody(const Shape& shape, std::shared_ptr<BodyState> state)
        : shape_(shape), state_(std::move(state)) {}
    ~CountedBody() override { state_->destroyed = true; }

    std::optional<uint64_t> Length() const override { return shape_.announced; }

    void Pull(Sink sink) override {
        if (shape_.isLater) {
            const std::lock_guard lock(state_->mutex);
            state_->sinks.push_back(std::move(sink));
            return;
        }
        const uint64_t left = shape_.bytes - state_->given;
        if (left == 0 && shape_.fails) {
            sink(std::nullopt);
            return;
        }
        std::string piece(std::min<uint64_t>(left, shape_.piece), ' ');
        for (char& byte : piece)
            byte = static_cast<char>(ByteAt(state_->given++));
        sink(std::move(piece));
    }

private:
    const Shape shape_;
    const std::shared_ptr<BodyState> state_;
};

class HttpAnswerTest : public test::HttpServerFixture {
protected:
    HttpAnswerTest() {
        router_.Add(
            "GET", "/healthz",
            [](const HttpRequest&, const Reply& reply) {
                reply->Send({200, "", "well", {}});
            },
            HttpPlace::kIoThread);
        router_.Add("GET", "/quick", [](const HttpRequest&, const Reply& reply) {
            reply->Send({200, "", "quick", {}});
        });
        router_.Add("GET", "/kept", [this](const HttpRequest&, const Reply& reply) {
            reply->OnGone([this] { ++gone_; });
            kept_.set_value(reply);
        });
    }
    ~HttpAnswerTest() override { Stop(); }

    std::shared_ptr<BodyState> AddBody(const std::string& path, const CountedBody::Shape& shape) {
        auto state = std::make_shared<BodyState>();
        router_.Add("GET", path, [state, shape](const HttpRequest&, const Reply& reply) {
            state->given = 0;
            reply->SendBody({200, "video/mp4", "", {}},
                            std::make_unique<CountedBody>(shape, state));
        });
        return state;
    }

    /// The reply to the request to /kept.
    Reply Kept() {
        auto future = kept_.get_future();
        EXPECT_EQ(future.wait_for(20s), std::future_status::ready);
        Reply reply = future.get();
        kept_ = {};
        return reply;
    }

    static void Ask(TestSocket& socket, const std::string& path) {
        ASSERT_TRUE(socket.Send("GET " + path + " HTTP/1.1\r\nHost: h\r\n\r\n"));
    }

    std::promise<Reply> kept_;
    std::atomic<int> gone_{0};
};

TEST_F(HttpAnswerTest, AnswersMayComeLaterFromAnyThread) {
    Start();
    TestHttp client(Port());
    for (int i = 0; i < 3; ++i) {
        client.Send("GET", "/kept");
        Reply reply = Kept();
        EXPECT_EQ(Fetch(Port(), "GET", "/quick").body, "quick");
        std::thread([&] {
            reply->Send({202, "text/plain", "late", {{"X-A", "b\r\nX-C: d"}}});
        }).join();
        reply->Send({200, "", "once is enough", {}});
        EXPECT_FALSE(reply->Write("nor this"));
        TestResponse response = client.Read();
        EXPECT_EQ(response.status, 202);
        EXPECT_EQ(response.body, "late");
        EXPECT_EQ(response.headers["x-a"], "b  X-C: d");
    }
    EXPECT_EQ(gone_, 0);
}

TEST_F(HttpAnswerTest, AReplyThatIsDroppedOrAHandlerThatThrowsIsAFailure) {
    router_.Add("GET", "/dropped", [](const HttpRequest&, const Reply&) {});
    router_.Add("GET", "/throws",
                [](const HttpRequest&, const Reply&) { throw std::runtime_error("as told"); });
    router_.Add("GET", "/odd", [](const HttpRequest&, const Reply&) { throw 5; });
    router_.Add("GET", "/half", [](const HttpRequest&, const Reply& reply) {
        reply->Begin({200, "text/plain", "", {}});
        reply->Write("half");
    });
    Start();
    TestHttp client(Port());
    for (const char* path : {"/dropped", "/throws", "/odd"}) {
        client.Send("GET", path);
        EXPECT_EQ(client.Read().status, 500) << path;
    }
    client.Send("GET", "/half");
    EXPECT_EQ(client.Read().status, 0) << "half an answer must not look whole";
}

TEST_F(HttpAnswerTest, PiecesComeOneByOneAndOldClientsGetThemUnframed) {
    Start();
    TestHttp client(Port());
    client.Send("GET", "/kept");
    Reply reply = Kept();
    reply->Begin({200, "text/plain", "", {}});
    TestResponse response;
    ASSERT_TRUE(client.ReadHead(response));
    std::string piece;
    for (const char* text : {"one\n", "two\n"}) {
        EXPECT_TRUE(reply->Write(text));
        ASSERT_TRUE(client.ReadChunk(piece));
        EXPECT_EQ(piece, text);
    }
    EXPECT_TRUE(reply->Write(""));
    reply->End();
    ASSERT_TRUE(client.ReadChunk(piece));
    EXPECT_EQ(piece, "");

    client.Send("HEAD", "/kept");
    reply = Kept();
    reply->Begin({200, "text/plain", "", {}});
    EXPECT_FALSE(reply->Write("nobody wants it"));
    ASSERT_TRUE(client.ReadHead(response));
    client.Send("GET", "/quick");
    EXPECT_EQ(client.Read().body, "quick");

    TestSocket old(Port());
    ASSERT_TRUE(old.Send("GET /kept HTTP/1.0\r\nConnection: keep-alive\r\n\r\n"));
    reply = Kept();
    reply->Begin({200, "text/plain", "", {}});
    EXPECT_TRUE(reply->Write("one\n"));
    EXPECT_TRUE(reply->Write("two\n"));
    reply->End();
    ASSERT_TRUE(old.ReadToEnd(piece));
    EXPECT_THAT(piece, testing::EndsWith("\r\n\r\none\ntwo\n"));
}

TEST_F(HttpAnswerTest, PulledBodiesAreWhole) {
    AddBody("/known", {.announced = 300'000, .bytes = 300'000});
    AddBody("/unknown", {.bytes = 300'000, .piece = 1000});
    AddBody("/empty", {.announced = 0});
    Start();
    TestHttp client(Port());
    std::string expected;
    for (uint64_t i = 0; i < 300'000; ++i)
        expected += static_cast<char>(ByteAt(i));
    for (const char* path : {"/known", "/unknown", "/empty", "/known"}) {
        client.Send("GET", path);
        const TestResponse response = client.Read();
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.headers.count("content-length"),
                  path == std::string("/unknown") ? 0U : 1U);
        EXPECT_EQ(response.body, path == std::string("/empty") ? "" : expected);
    }
    client.Send("HEAD", "/known");
    TestResponse head;
    ASSERT_TRUE(client.ReadHead(head));
    EXPECT_EQ(head.headers["content-length"], "300000");

    TestSocket old(Port());
    ASSERT_TRUE(old.Send("GET /unknown HTTP/1.0\r\n\r\n"));
    std::string all;
    ASSERT_TRUE(old.ReadToEnd(all));
    EXPECT_THAT(all, testing::EndsWith("\r\n\r\n" + expected));
}

TEST_F(HttpAnswerTest, PulledBodiesThatAreNotWhatTheySaidDoNotLookWhole) {
    AddBody("/fails", {.bytes = 100, .fails = true});
    AddBody("/fails early", {.announced = 200, .bytes = 100, .fails = true});
    AddBody("/short", {.announced = 200, .bytes = 100});
    AddBody("/long", {.announced = 50, .bytes = 100});
    AddBody("/big pieces", {.bytes = 1 << 20, .piece = HttpBody::kMostBytes + 1});
    Start();
    for (const char* path : {"/fails", "/fails%20early", "/short", "/long", "/big%20pieces"})
        EXPECT_EQ(Fetch(Port(), "GET", path).status, 0) << path;
}

TEST_F(HttpAnswerTest, ABodyIsPulledOnlyWhenThereIsRoom) {
    constexpr uint64_t kBytes = uint64_t{16} << 20;
    const auto state = AddBody("/long", {.announced = kBytes, .bytes = kBytes});
    Start();
    TestSocket client(Port(), 4096);
    Ask(client, "/long");
    std::string text;
    ASSERT_TRUE(client.ReadUntil("\r\n\r\n", text));
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(Fetch(Port(), "GET", "/healthz").body, "well");
    EXPECT_LT(state->given, 4U << 20) << "beyond what the kernel holds";
    ASSERT_TRUE(client.Read(kBytes, text));
    for (const uint64_t place : {uint64_t{0}, kBytes / 2 + 1, kBytes - 1})
        EXPECT_EQ(static_cast<uint8_t>(text[place]), ByteAt(place));
}

TEST_F(HttpAnswerTest, ManyOpenDownloadsHoldNoThread) {
    const auto state = AddBody("/later", {.isLater = true});
    Start();
    std::vector<std::unique_ptr<TestHttp>> clients;
    constexpr size_t kClients = 100;
    for (size_t i = 0; i < kClients; ++i) {
        clients.push_back(std::make_unique<TestHttp>(Port()));
        clients.back()->Send("GET", "/later");
    }
    ASSERT_TRUE(Eventually([&] {
        const std::lock_guard lock(state->mutex);
        return state->sinks.size() == kClients;
    }));
    EXPECT_EQ(Fetch(Port(), "GET", "/quick").body, "quick");
    std::deque<HttpBody::Sink> sinks;
    {
        const std::lock_guard lock(state->mutex);
        sinks.swap(state->sinks);
    }
    for (const auto& sink : sinks)
        std::async(std::launch::async, [&] { sink("piece"); }).get();
    ASSERT_TRUE(Eventually([&] {
        const std::lock_guard lock(state->mutex);
        return state->sinks.size() == kClients;
    }));
    for (const auto& sink : sinks)
        sink("of a pull that is over");
    for (const auto& sink : state->sinks)
        sink("");
    for (const auto& client : clients)
        EXPECT_EQ(client->Read().body, "piece");
}

TEST_F(HttpAnswerTest, AClientThatLeavesIsNoticed) {
    settings_.linger = 50ms;
    const auto state = AddBody("/later", {.isLater = true});
    Start();
    for (const bool isReset : {true, false}) {
        const int before = gone_;
        auto client = std::make_unique<TestSocket>(Port());
        Ask(*client, "/kept");
        const Reply reply = Kept();
        EXPECT_FALSE(reply->IsGone());
        if (isReset)
            client->Reset();
        client = nullptr;
        EXPECT_TRUE(Eventually([&] { return gone_ == before + 1; }));
        EXPECT_TRUE(reply->IsGone());
        EXPECT_FALSE(reply->Write("to nobody"));
        reply->Send({});
        reply->OnGone([this] { ++gone_; });
        EXPECT_EQ(gone_, before + 2);
    }
    TestSocket client(Port());
    Ask(client, "/later");
    ASSERT_TRUE(Eventually([&] {
        const std::lock_guard lock(state->mutex);
        return !state->sinks.empty();
    }));
    client.Reset();
    EXPECT_TRUE(Eventually([&] { return state->destroyed.load(); }));
    state->sinks.front()("to nobody");
    EXPECT_TRUE(Eventually([this] { return server_->Connections() == 0; }));
}

TEST_F(HttpAnswerTest, AClientThatOnlyEndsItsSideGetsItsAnswer) {
    Start();
    TestSocket client(Port());
    Ask(client, "/kept");
    client.FinishSending();
    const Reply reply = Kept();
    reply->Send({200, "", "all the same", {}});
    std::string answer;
    ASSERT_TRUE(client.ReadToEnd(answer));
    EXPECT_THAT(answer, testing::EndsWith("all the same"));
}

TEST_F(HttpAnswerTest, ClientsThatNeverReadHoldUpNobodyAndAreClosed) {
    settings_.unread = 400ms;
    const std::string big(16 << 20, 'x');
    router_.Add("GET", "/big", [&](const HttpRequest&, const Reply& reply) {
        reply->Send({200, "", big, {}});
    });
    router_.Add("GET", "/pieces", [&](const HttpRequest&, const Reply& reply) {
        reply->Begin({});
        int taken = 0;
        while (reply->Write(std::string(100'000, 'x')))
            ++taken;
        EXPECT_LT(taken, 100);
    });
    AddBody("/body", {.bytes = UINT64_MAX});
    Start();
    std::vector<std::unique_ptr<TestSocket>> clients;
    for (const char* path : {"/big", "/big", "/pieces", "/body", "/big", "/pieces"}) {
        clients.push_back(std::make_unique<TestSocket>(Port(), 4096));
        Ask(*clients.back(), path);
    }
    std::string start;
    for (const auto& client : clients)
        EXPECT_TRUE(client->Read(9, start));
    EXPECT_EQ(Fetch(Port(), "GET", "/healthz").body, "well");
    EXPECT_EQ(Fetch(Port(), "GET", "/quick").body, "quick");
    EXPECT_TRUE(Eventually([this] { return server_->Connections() == 0; }));
    std::string rest;
    EXPECT_FALSE(clients.front()->Read(big.size(), rest));
}

TEST_F(HttpAnswerTest, AnAnswerWithoutEndIsEndedByEitherSide) {
    settings_.linger = 50ms;
    std::promise<std::shared_ptr<Connection>> promise;
    router_.Add("GET", "/live", [&](const HttpRequest&, const Reply& reply) {
        reply->OnGone([this, reply] { ++gone_; });
        promise.set_value(reply->BeginLive({200, "video/mp2t", "", {}}));
    });
    Start();
    const auto begin = [&](TestHttp& client) {
        promise = {};
        auto future = promise.get_future();
        client.Send("GET", "/live");
        EXPECT_EQ(future.wait_for(20s), std::future_status::ready);
        return future.get();
    };
    TestHttp client(Port());
    auto connection = begin(client);
    ASSERT_NE(connection, nullptr);
    TestResponse head;
    ASSERT_TRUE(client.ReadHead(head));
    EXPECT_EQ(head.headers["connection"], "close");
    EXPECT_TRUE(connection->SendUnit({}, "unit", UnitKind::kOther, true));
    connection->AskToEnd("over");
    std::string rest;
    ASSERT_TRUE(client.Socket().ReadToEnd(rest));
    EXPECT_EQ(rest, "unit");
    EXPECT_FALSE(connection->SendUnit({}, "unit", UnitKind::kOther, true));
    EXPECT_TRUE(Eventually([&] { return gone_ == 1; }));

    auto leaving = std::make_unique<TestHttp>(Port());
    connection = begin(*leaving);
    ASSERT_TRUE(leaving->Socket().Send("what a viewer sends is dropped"));
    EXPECT_EQ(gone_, 1);
    leaving = nullptr;
    EXPECT_TRUE(Eventually([&] { return gone_ == 2; }));
    connection = nullptr;
    EXPECT_TRUE(Eventually([this] { return server_->Connections() == 0; }));
}

}  // namespace
}  // namespace vms::host
