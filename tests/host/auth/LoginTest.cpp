// What guessing passwords costs, and whom it does not cost anything.
#include <gmock/gmock-matchers.h>

#include "host/auth/LoginDelays.h"
#include "host/auth/PasswordHash.h"
#include "host/auth/PasswordLane.h"
#include "tests/host/auth/AuthFixture.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;

const LoginDelays::Time kStart{100h};

TEST(LoginDelays, GrowToAMinuteAndAreForgotten) {
    LoginDelays delays;
    auto now = kStart;
    std::vector<int64_t> waits;
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(delays.Wait("a", "anna", now), 0s);
        delays.Failed("a", "anna", now);
        waits.push_back(delays.Wait("a", "x", now).count());
        EXPECT_GT(delays.Wait("a", "anna", now + std::chrono::seconds(waits.back()) - 1ms), 0s);
        now += std::chrono::seconds(waits.back());
    }
    EXPECT_EQ(waits, (std::vector<int64_t>{1, 2, 4, 8, 16, 32, 60, 60, 60}));
    now += LoginDelays::kMemory + 1s;
    delays.Failed("a", "anna", now);
    EXPECT_EQ(delays.Wait("a", "anna", now), 1s);
}

TEST(LoginDelays, OneAddressDoesNotLockANameForOthers) {
    LoginDelays delays;
    auto now = kStart;
    for (int i = 0; i < 5; ++i, now += 61s)
        delays.Failed("bad", "anna", now);
    EXPECT_EQ(delays.Wait("good", "anna", now - 60s), 0s) << "1 s after the last failure";

    // Many addresses do, but not where she has been before.
    delays.Succeeded("home", "anna");
    for (int i = 0; i < 8; ++i)
        delays.Failed("bad" + std::to_string(i), "anna", now);
    EXPECT_EQ(delays.Wait("new", "anna", now), 60s);
    EXPECT_EQ(delays.Wait("home", "anna", now), 0s);
    EXPECT_EQ(delays.Wait("new", "bert", now), 0s);
}

TEST(LoginDelays, StrangersCannotMakeThemGrowWithoutEnd) {
    LoginDelays delays;
    delays.Failed("first", "name", kStart);
    for (size_t i = 0; i < LoginDelays::kMost; ++i)
        delays.Failed(std::to_string(i), std::to_string(i), kStart);
    EXPECT_EQ(delays.Wait("first", "x", kStart), 0s) << "the oldest has made room";
    EXPECT_EQ(delays.Wait("0", "x", kStart), 1s);
}

TEST(AddressGroup, IsWhatOneCustomerHas) {
    EXPECT_EQ(AddressGroup("10.1.2.3"), "10.1.2.3");
    EXPECT_EQ(AddressGroup("::ffff:10.1.2.3"), "10.1.2.3");
    EXPECT_EQ(AddressGroup("2001:db8:1:2:3:4:5:6"), AddressGroup("2001:db8:1:2::"));
    EXPECT_NE(AddressGroup("2001:db8:1:2::1"), AddressGroup("2001:db8:1:3::1"));
}

TEST(PasswordLane, AddressesTakeTurns) {
    std::string order;
    std::promise<void> go;
    std::promise<void> end;
    std::promise<void> began;
    PasswordLane lane([] {}, 1h);
    ASSERT_TRUE(lane.Post("x", [&] {
        began.set_value();
        go.get_future().wait();
    }));
    began.get_future().wait();
    for (size_t i = 0; i < PasswordLane::kMostOfAddress; ++i)
        EXPECT_TRUE(lane.Post("bad", [&order] { order += 'b'; }));
    EXPECT_FALSE(lane.Post("bad", [&order] { order += 'b'; }));
    EXPECT_TRUE(lane.Post("good", [&order] { order += 'g'; }));
    EXPECT_TRUE(lane.Post("last", [] {}));
    EXPECT_TRUE(lane.Post("last", [] {}));
    EXPECT_TRUE(lane.Post("last", [] {}));
    EXPECT_TRUE(lane.Post("last", [&end] { end.set_value(); }));
    go.set_value();
    ASSERT_EQ(end.get_future().wait_for(20s), std::future_status::ready);
    EXPECT_THAT(order, testing::StartsWith("bg"));
}

TEST(PasswordLane, AddressesAreBoundedInAll) {
    std::promise<void> began;
    std::promise<void> go;
    PasswordLane lane([] {}, 1h);
    ASSERT_TRUE(lane.Post("x", [&] {
        began.set_value();
        go.get_future().wait();
    }));
    began.get_future().wait();
    for (size_t i = 0; i < PasswordLane::kMost; ++i)
        ASSERT_TRUE(lane.Post(std::to_string(i), [] {}));
    EXPECT_FALSE(lane.Post("one more", [] {}));
    go.set_value();
}

class LoginTest : public test::AuthFixture {};

TEST_F(LoginTest, TheRightPasswordLetsInAndWrongOnesMustWait) {
    Open();
    AddUser("anna", Role::kOperator);
    const auto good = LogIn("anna", "password", "10.0.0.1");
    EXPECT_EQ(good.status, 200);
    EXPECT_EQ(doors_->People().FindSession(good.key)->name, "anna");
    EXPECT_EQ(LogIn("anna", "passwort", "10.0.0.2").status, 401);
    const auto often = LogIn("anna", "password", "10.0.0.2");
    EXPECT_EQ(often.status, 429);
    EXPECT_EQ(often.retryAfter, 1s);
    EXPECT_EQ(LogIn("anna", "password", "10.0.0.1").status, 200);
    EXPECT_EQ(LogIn("nobody", "", "10.0.0.3").status, 401);
    EXPECT_EQ(LogIn("anna", std::string(kLongestPassword + 1, 'x'), "10.0.0.4").status, 401);
    for (const std::string& line : log_.Lines())
        EXPECT_EQ(line.find("nobody"), std::string::npos) << "it may be a password";
}

TEST_F(LoginTest, OfGuessesThatComeAtOnceOneIsLookedAt) {
    Open();
    AddUser("anna", Role::kOperator);
    std::vector<std::future<Logins::Outcome>> outcomes;
    for (size_t i = 0; i < PasswordLane::kMostOfAddress; ++i) {
        outcomes.push_back(std::async(std::launch::async,
                                      [this] { return LogIn("anna", "passwort", "10.0.0.2"); }));
    }
    size_t lookedAt = 0;
    for (auto& outcome : outcomes)
        lookedAt += outcome.get().status == 401 ? 1 : 0;
    EXPECT_EQ(lookedAt, 1U);
}

}  // namespace
}  // namespace vms::host
