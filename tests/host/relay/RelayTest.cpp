// What goes out of a relay when units, greetings and newcomers come in every order, on a clock of
// the test's own.
#include "host/relay/Relay.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/SysCommandHelper.h"
#include "tests/host/net/TestUnit.h"

namespace {

using namespace std::chrono_literals;
using vms::MediaUnit;
using vms::UnitKind;
using vms::host::GopCache;
using vms::host::GopLimits;
using vms::host::Outlet;
using vms::host::Relay;
using vms::host::test::TestUnit;
using vms::host::test::UnitNumber;
using vms::host::test::UnitType;

Relay::Clock::time_point theTime;

/// Remembers what it has taken, by number.
class Recorder final : public Outlet {
public:
    void Take(const MediaUnit& unit) override {
        numbers.push_back(UnitNumber(std::string(unit.Bytes())));
    }
    void Tell(const __tagTvCommand& message) override { messages.push_back(message.body); }
    void End(const std::string& reason) override { ends.push_back(reason); }
    vms::host::OutletCounts Counts() const override { return {1, numbers.size()}; }

    std::vector<int> numbers;
    std::vector<std::string> messages;
    std::vector<std::string> ends;
};

class RelayTest : public testing::Test {
protected:
    void Send(UnitType type, int number) {
        EXPECT_TRUE(relay_.SendUnit(TestUnit(type, number, 100), false));
    }

    std::shared_ptr<Recorder> Attach(const std::string& kind = "recorder") {
        auto recorder = std::make_shared<Recorder>();
        relay_.WithOutlet(
            kind, [&] { return recorder; }, [](Outlet&) {});
        return recorder;
    }

    void Greet(std::vector<int> keys) {
        relay_.BeginGreeting();
        for (const int number : keys)
            Send(UnitType::kKey, number);
        relay_.EndGreeting();
    }

    Relay relay_{7, "key", GopLimits{}, [] { return theTime; }};
};

using Numbers = std::vector<int>;

TEST_F(RelayTest, ANewOutletGetsTheNewestGroupAndThenTheStream) {
    const auto first = Attach("first");
    for (int i = 0; i < 14; ++i)
        Send(i % 5 == 0 ? UnitType::kKey : UnitType::kPicture, i);
    const auto second = Attach("second");
    Send(UnitType::kPicture, 14);
    Send(UnitType::kKey, 15);
    EXPECT_EQ(first->numbers.size(), 16U);
    EXPECT_EQ(second->numbers, (Numbers{10, 11, 12, 13, 14, 15}));

    __tagTvCommand message;
    message.body = "3";
    relay_.SendCommand(message);
    relay_.Close("over");
    EXPECT_EQ(first->messages, std::vector<std::string>{"3"});
    EXPECT_EQ(second->ends, std::vector<std::string>{"over"});
    EXPECT_EQ(relay_.QueuedUnits(), 0);
    EXPECT_EQ(relay_.Counts().takenUnits, 16U);
}

TEST_F(RelayTest, PicturesThatDoNotContinueTheGreetingAreHeldBack) {
    Greet({10, 20});
    const auto outlet = Attach();
    Send(UnitType::kPicture, 23);
    Send(UnitType::kSound, 24);
    Send(UnitType::kPicture, 25);
    Send(UnitType::kKey, 26);
    Send(UnitType::kPicture, 27);
    EXPECT_EQ(outlet->numbers, (Numbers{20, 24, 26, 27}));
}

TEST_F(RelayTest, WhatElseComesWithTheGreetingWaitsForTheFirstOutlet) {
    relay_.BeginGreeting();
    Send(UnitType::kSound, 3);
    relay_.EndGreeting();
    const auto outlet = Attach();
    Send(UnitType::kPicture, 7);
    EXPECT_EQ(outlet->numbers, (Numbers{3, 7}));
}

TEST_F(RelayTest, PicturesThatContinueTheGreetingFlow) {
    Greet({10});
    const auto outlet = Attach();
    Send(UnitType::kKey, 10);  // on its ordinary way
    Send(UnitType::kSound, 11);
    Send(UnitType::kPicture, 12);
    Send(UnitType::kPicture, 99);  // who numbers otherwise later on is believed
    EXPECT_EQ(outlet->numbers, (Numbers{10, 11, 12, 99}));
}

TEST_F(RelayTest, AGreetingThatLivePicturesHaveOvertakenIsOld) {
    relay_.BeginGreeting();
    std::thread([this] {
        Send(UnitType::kKey, 30);
        Send(UnitType::kPicture, 31);
    }).join();
    Send(UnitType::kKey, 20);
    relay_.EndGreeting();
    const auto outlet = Attach();
    Send(UnitType::kPicture, 32);
    EXPECT_EQ(outlet->numbers, (Numbers{30, 31, 32}));
}

TEST_F(RelayTest, AStreamWithHardlyAnyKeyPicturesIsNotHeldForEver) {
    Greet({10});
    const auto outlet = Attach();
    Send(UnitType::kPicture, 15);
    theTime += Relay::kLongestHold - 1ms;
    Send(UnitType::kPicture, 16);
    theTime += 1ms;
    Send(UnitType::kPicture, 17);
    Send(UnitType::kPicture, 18);
    EXPECT_EQ(outlet->numbers, (Numbers{10, 17, 18}));
}

/// Whenever outlets come, each sees a key picture first, then every number once.
TEST_F(RelayTest, OutletsThatComeWhileUnitsDoSeeNoGapAndNothingTwice) {
    std::atomic<bool> done{false};
    std::thread source([&] {
        for (int i = 0; !done; ++i)
            Send(i % 10 == 0 ? UnitType::kKey : UnitType::kPicture, i);
    });
    std::vector<std::shared_ptr<Recorder>> outlets;
    for (int i = 0; i < 100; ++i)
        outlets.push_back(Attach(std::to_string(i)));
    while (relay_.Counts().takenUnits < 5000)
        std::this_thread::yield();
    done = true;
    source.join();
    for (const auto& outlet : outlets) {
        ASSERT_FALSE(outlet->numbers.empty());
        EXPECT_EQ(outlet->numbers.front() % 10, 0);
        for (size_t i = 1; i < outlet->numbers.size(); ++i)
            ASSERT_EQ(outlet->numbers[i], outlet->numbers[i - 1] + 1);
    }
}

TEST(GopCacheTest, KeepsWholeGroupsOnlyWithinItsBounds) {
    GopLimits limits;
    limits.bytes = 100;
    limits.items = 4;
    limits.age = 5s;
    GopCache<int> cache(limits);
    Relay::Clock::time_point now;
    const auto add = [&](UnitKind kind, int item, size_t bytes) {
        cache.Add(item, kind, 0, bytes, now);
    };
    add(UnitKind::kPicture, 1, 10);
    EXPECT_TRUE(cache.Empty()) << "begins in the middle of a group";
    add(UnitKind::kKeyPicture, 2, 60);
    add(UnitKind::kPicture, 3, 40);
    EXPECT_EQ(cache.Items(), (Numbers{2, 3}));
    add(UnitKind::kPicture, 4, 1);
    add(UnitKind::kPicture, 5, 1);
    EXPECT_TRUE(cache.Empty()) << "too many bytes";
    for (int i = 0; i < 5; ++i)
        add(i == 0 ? UnitKind::kKeyPicture : UnitKind::kOther, i, 1);
    EXPECT_TRUE(cache.Empty()) << "too many items";
    add(UnitKind::kKeyPicture, 6, 1);
    now += 6s;
    add(UnitKind::kPicture, 7, 1);
    EXPECT_TRUE(cache.Empty()) << "too old";
    add(UnitKind::kKeyPicture, 8, 1);
    add(UnitKind::kKeyPicture, 9, 1);
    EXPECT_EQ(cache.Items(), Numbers{9});
}

TEST(GopCacheTest, ANewcomerIsSparedTheSoundOfPicturesItWillNotWaitFor) {
    GopCache<int> cache;
    const auto add = [&](UnitKind kind, int timestampMs) {
        cache.Add(timestampMs, kind, static_cast<uint32_t>(timestampMs), 1, {});
    };
    add(UnitKind::kKeyPicture, 1000);
    add(UnitKind::kOther, 1010);
    add(UnitKind::kPicture, 1040);
    add(UnitKind::kOther, 1899);
    add(UnitKind::kOther, 1900);
    add(UnitKind::kPicture, 2000);
    add(UnitKind::kOther, 2030);
    EXPECT_EQ(cache.ForNewcomer(), (Numbers{1000, 1040, 1900, 2000, 2030}));
}

}  // namespace
