// Events as a stream and as a log, for many clients, some of them slow.
#include "host/api/EventApi.h"

#include <gmock/gmock-matchers.h>

#include <memory>

#include "tests/host/api/ApiFixture.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using test::Eventually;
using test::Fetch;
using test::TestHttp;
using test::TestResponse;
using test::TestSocket;
using testing::HasSubstr;

class EventApiTest : public test::HttpServerFixture {
protected:
    ~EventApiTest() override { Stop(); }

    void StartEvents(const EventStreamLimits& limits = {}, const EventLimits& kept = {}) {
        log_of_events_ = std::make_unique<EventLog>(database_, log_, kept);
        api_ = std::make_unique<EventApi>(*log_of_events_, limits);
        api_->AddTo(router_);
        Start();
    }

    void Append(const std::string& type, const std::string& device = {}, size_t times = 1) {
        for (size_t i = 0; i < times; ++i)
            log_of_events_->Append({type, device, -1, {}});
        last_ += static_cast<int64_t>(times);
        EXPECT_TRUE(Eventually([&] { return log_of_events_->Last() >= last_; }));
    }

    /// A client that is being served.
    std::unique_ptr<TestSocket> Watch(const std::string& query = {}, int receiveBuffer = 0,
                                      const std::string& header = {}) {
        auto client = std::make_unique<TestSocket>(Port(), receiveBuffer);
        EXPECT_TRUE(client->Send("GET /api/events" + query + " HTTP/1.1\r\nHost: localhost\r\n" +
                                 header + "\r\n"));
        std::string head;
        EXPECT_TRUE(client->ReadUntil("retry: 2000\n\n", head));
        EXPECT_THAT(head, HasSubstr("Content-Type: text/event-stream\r\n"));
        return client;
    }

    /// The next event, without its data.
    static std::string Next(TestSocket& client) {
        std::string text;
        EXPECT_TRUE(client.ReadUntil("\n\n", text));
        return text.substr(0, text.find("\ndata: "));
    }

    Database database_{nullptr};
    int64_t last_ = 0;
    std::unique_ptr<EventLog> log_of_events_;
    std::unique_ptr<EventApi> api_;
};

TEST_F(EventApiTest, ClientsSeeWhatHappensFromNowOn) {
    StartEvents();
    Append("old");
    const auto all = Watch();
    const auto some = Watch("?types=device-up,face&devices=cam");
    Append("device-up", "other");
    Append("face", "cam");
    EXPECT_EQ(Next(*all), "id: 2\nevent: device-up");
    EXPECT_EQ(Next(*all), "id: 3\nevent: face");
    EXPECT_EQ(Next(*some), "id: 3\nevent: face");
}

TEST_F(EventApiTest, WhoComesBackMissesNothingOrIsTold) {
    StartEvents({}, {.kept = 10, .inMemory = 3});
    Append("a", "", 20);
    const auto back = Watch("", 0, "Last-Event-ID: 12\r\n");
    EXPECT_EQ(Next(*back), "id: 13\nevent: a");
    const auto late = Watch("?after=5");
    EXPECT_EQ(Next(*late), "id: 10\nevent: gap");
    EXPECT_EQ(Next(*late), "id: 11\nevent: a");
    const auto ahead = Watch("", 0, "last-event-id: 999\r\n");
    Append("b");
    EXPECT_EQ(Next(*ahead), "id: 21\nevent: b");
}

TEST_F(EventApiTest, ASlowClientHoldsNothingUpAndIsToldOfTheGap) {
    StartEvents({.look = 1ms}, {.kept = 500, .inMemory = 100});
    const auto slow = Watch("", 4096);
    const auto quick = Watch();
    // More than the sockets take: what is left waits in the log, and falls out of it.
    constexpr size_t kMany = 60'000;
    const std::string device(250, 'd');
    for (size_t i = 0; i < kMany; i += 2000) {
        Append("a", device, 2000);
        std::string text;
        ASSERT_TRUE(quick->ReadUntil("id: " + std::to_string(i + 2000) + "\n", text));
    }
    std::string text;
    ASSERT_TRUE(slow->ReadUntil("event: gap\ndata: {\"missed\":", text));
    ASSERT_TRUE(slow->ReadUntil("id: " + std::to_string(kMany) + "\nevent: a\n", text));
}

TEST_F(EventApiTest, ThereAreOnlySoMany) {
    StartEvents({.clients = 3});
    std::vector<std::unique_ptr<TestSocket>> clients;
    for (int i = 0; i < 3; ++i)
        clients.push_back(Watch());
    EXPECT_EQ(Fetch(Port(), "GET", "/api/events").status, 503);
    clients[1]->Reset();
    EXPECT_TRUE(Eventually([&] {
        TestHttp client(Port());
        TestResponse response;
        client.Send("GET", "/api/events");
        return client.ReadHead(response) && response.status == 200;
    })) << "the place of one that has gone is free";
}

TEST_F(EventApiTest, SilenceIsBroken) {
    StartEvents({.heartbeat = 20ms});
    const auto client = Watch();
    EXPECT_EQ(Next(*client), ": still here\n\n");
    EXPECT_EQ(Next(*client), ": still here\n\n");
}

TEST_F(EventApiTest, TheLogComesInPages) {
    StartEvents();
    Append("a", "cam", 5);
    Append("b", "cam", 1);
    const auto ask = [this](const std::string& query) {
        const TestResponse response = Fetch(Port(), "GET", "/api/events/log" + query);
        Json::Value body;
        EXPECT_TRUE(ParseJson(response.body.c_str(), body)) << response.body;
        body["status"] = response.status;
        return body;
    };
    const Json::Value first = ask("?limit=4&device=cam");
    ASSERT_EQ(first["events"].size(), 4U);
    EXPECT_EQ(first["events"][0]["type"], "b");
    const Json::Value rest = ask("?limit=4&before=" + first["before"].asString());
    EXPECT_EQ(rest["events"].size(), 2U);
    EXPECT_FALSE(rest.isMember("before"));
    EXPECT_TRUE(ask("?from=2001-01-01&to=2001-01-02")["events"].empty());
    for (const char* query :
         {"?limit=0", "?limit=100000", "?before=x", "?from=never", "?after=%ff"})
        EXPECT_EQ(ask(query)["status"], std::string(query) == "?after=%ff" ? 200 : 400) << query;
    for (const char* query : {"?after=x", "?after=-1", "?types=%01", "?after=99999999999999999999"})
        EXPECT_EQ(Fetch(Port(), "GET", std::string("/api/events") + query).status, 400) << query;
    EXPECT_EQ(Fetch(Port(), "HEAD", "/api/events").status, 200);
}

}  // namespace
}  // namespace vms::host
