// What strangers together can take: places, memory for bodies, and nobody else's turn.
#include <gmock/gmock-matchers.h>

#include <future>

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

class HttpBoundsTest : public test::HttpServerFixture {
protected:
    HttpBoundsTest() {
        router_.Add("GET", "/", [](const HttpRequest&, const Reply& reply) { reply->Send({}); });
        router_.Add("POST", "/", [](const HttpRequest& request, const Reply& reply) {
            reply->Send({200, "", std::to_string(request.body.size()), {}});
        });
        router_.Add("GET", "/kept", [this](const HttpRequest&, const Reply& reply) {
            MutexLock lock(mutex_);
            kept_.push_back(reply);
        });
    }
    ~HttpBoundsTest() override {
        Stop();
        MutexLock lock(mutex_);
        kept_.clear();
    }

    size_t Kept() {
        MutexLock lock(mutex_);
        return kept_.size();
    }

    std::vector<std::unique_ptr<TestSocket>> Strangers(size_t count, const std::string& bytes) {
        std::vector<std::unique_ptr<TestSocket>> strangers;
        for (size_t i = 0; i < count; ++i) {
            strangers.push_back(std::make_unique<TestSocket>(Port()));
            strangers.back()->Send(bytes);  // fails for one that is refused meanwhile
        }
        return strangers;
    }

    static constexpr char kLongPost[] =
        "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 4000000\r\n\r\n";

    Mutex mutex_;
    std::vector<Reply> kept_ VMS_GUARDED_BY(mutex_);
};

TEST(BodyBudget, GrantsNoMoreThanThereIs) {
    BodyBudget budget(100);
    BodyBudget::Share one;
    BodyBudget::Share two;
    EXPECT_TRUE(one.Resize(budget, 60));
    EXPECT_FALSE(two.Resize(budget, 41));
    EXPECT_TRUE(two.Resize(budget, 40));
    EXPECT_FALSE(one.Resize(budget, SIZE_MAX));
    EXPECT_TRUE(one.Resize(budget, 10));
    BodyBudget::Share moved = std::move(two);
    EXPECT_EQ(budget.Used(), 50U);
    moved = std::move(one);
    EXPECT_EQ(budget.Used(), 10U);
    moved = {};
    EXPECT_EQ(budget.Used(), 0U);
}

TEST_F(HttpBoundsTest, LengthsThatAreOnlyAnnouncedTakeNothing) {
    Start();
    const auto strangers = Strangers(200, kLongPost);
    ASSERT_TRUE(Eventually([this] { return server_->Connections() == 200; }));
    EXPECT_EQ(budget_.Used(), 0U);
    EXPECT_EQ(Fetch(Port(), "POST", "/", std::string(4 << 20, 'x')).body, "4194304");
}

TEST_F(HttpBoundsTest, BodiesTogetherTakeNoMoreThanTheBudget) {
    settings_.linger = 50ms;
    Start();
    auto strangers = Strangers(200, kLongPost + std::string(1 << 20, 'x'));
    for (int thread = 0; thread < 2; ++thread)  // behind which all strangers have been taken in
        EXPECT_EQ(Fetch(Port(), "GET", "/").status, 200);
    EXPECT_TRUE(Eventually([this] {
        EXPECT_LE(budget_.Used(), BodyBudget::kMost);
        return server_->Connections() <= 64;
    })) << "the rest is refused";
    EXPECT_GE(budget_.Used(), BodyBudget::kMost / 2);
    EXPECT_EQ(Fetch(Port(), "GET", "/").status, 200);
    strangers.clear();
    EXPECT_TRUE(Eventually([this] { return budget_.Used() == 0; }));
    EXPECT_EQ(Fetch(Port(), "POST", "/", std::string(1 << 20, 'x')).body, "1048576");
}

TEST_F(HttpBoundsTest, SmallBodiesAreTakenThoughTheBudgetIsUsedUp) {
    Start();
    BodyBudget::Share all;
    ASSERT_TRUE(all.Resize(budget_, BodyBudget::kMost));
    const std::string small(BodyBudget::kUnbooked, 'x');
    EXPECT_EQ(Fetch(Port(), "POST", "/", small).body, std::to_string(small.size()));
    EXPECT_EQ(Fetch(Port(), "POST", "/", small + small).status, 503);
    ASSERT_TRUE(all.Resize(budget_, BodyBudget::kMost - 2 * small.size()));
    EXPECT_EQ(Fetch(Port(), "POST", "/", small + small).status, 200);
}

TEST_F(HttpBoundsTest, ABodyCountsUntilItsRequestIsAnswered) {
    std::promise<Reply> promise;
    auto future = promise.get_future();
    router_.Add("POST", "/held",
                [&](const HttpRequest&, const Reply& reply) { promise.set_value(reply); });
    Start();
    TestHttp client(Port());
    client.Send("POST", "/held", std::string(100'000, 'x'));
    ASSERT_EQ(future.wait_for(20s), std::future_status::ready);
    EXPECT_GE(budget_.Used(), 100'000U);
    future.get()->Send({});
    EXPECT_EQ(client.Read().status, 200);
    EXPECT_TRUE(Eventually([this] { return budget_.Used() == 0; }));
}

TEST_F(HttpBoundsTest, NewcomersTakeThePlaceOfWhoeverIsIdleLongest) {
    settings_.connections = 4;
    Start(test::TokenGate);
    TestHttp busy(Port());
    busy.Send("GET", "/kept?token=token");
    ASSERT_TRUE(Eventually([this] { return Kept() == 1; }));
    TestHttp used(Port());
    used.Send("GET", "/?token=token");
    EXPECT_EQ(used.Read().status, 200);
    const auto strangers = Strangers(40, "GET / HTTP/1.1\r\n");
    EXPECT_TRUE(Eventually([&] {
        Strangers(8, "");
        used.Send("GET", "/?token=token");
        return used.Read().status == 0;
    }));
    std::string rest;
    for (size_t i = 0; i < 30; ++i)
        EXPECT_TRUE(strangers[i]->ReadToEnd(rest));
    EXPECT_EQ(Fetch(Port(), "GET", "/?token=token").status, 200);
    EXPECT_TRUE(Eventually([this] { return server_->Connections() <= 4; }));
    {
        MutexLock lock(mutex_);
        kept_.front()->Send({});
    }
    EXPECT_EQ(busy.Read().status, 200);
}

TEST_F(HttpBoundsTest, WithAllPlacesBusyNewcomersAreTold) {
    settings_.connections = 3;
    settings_.linger = 50ms;
    Start();
    std::vector<std::unique_ptr<TestHttp>> clients;
    for (size_t i = 0; i < 3; ++i) {
        clients.push_back(std::make_unique<TestHttp>(Port()));
        clients.back()->Send("GET", "/kept");
        ASSERT_TRUE(Eventually([&] { return Kept() == i + 1; }));
    }
    EXPECT_EQ(Fetch(Port(), "GET", "/").status, 503);
    clients.pop_back();
    EXPECT_TRUE(Eventually([this] { return Fetch(Port(), "GET", "/").status == 200; }));
}

TEST_F(HttpBoundsTest, ARefusedClientGetsItsAnswerAndIsNotKept) {
    settings_.linger = 200ms;
    Start(test::TokenGate);
    TestSocket client(Port());
    ASSERT_TRUE(client.Send(kLongPost));
    std::string answer;
    ASSERT_TRUE(client.ReadUntil("\r\n\r\n", answer));
    EXPECT_THAT(answer, testing::StartsWith("HTTP/1.1 401"));
    const std::string more(100'000, 'x');
    EXPECT_TRUE(Eventually([&] { return !client.Send(more); })) << "it is cut off in the end";
    EXPECT_EQ(budget_.Used(), 0U);
    EXPECT_TRUE(Eventually([this] { return server_->Connections() == 0; }));
}

}  // namespace
}  // namespace vms::host
