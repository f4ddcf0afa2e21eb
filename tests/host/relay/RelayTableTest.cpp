// How often the modules are asked for a stream, whoever watches it and however it ends.
#include "host/relay/RelayTable.h"

#include <gtest/gtest.h>

#include <future>
#include <vector>

#include "host/process/LogSink.h"
#include "tests/host/net/TestUnit.h"
#include "tests/host/server/FakeStreamModule.h"

namespace {

using namespace std::chrono_literals;
using vms::host::Relay;
using vms::host::RelayTable;
using vms::host::test::FakeStreamModule;
using vms::test::Gate;
using Events = FakeStreamModule::Events;

Relay::Clock::time_point theTime;

class RelayTableTest : public testing::Test {
protected:
    Events EventsOf(long long number) { return module_.All()[number]; }

    vms::host::LogSink log_{"test", vms::host::LogPrinting::kNothing};
    FakeStreamModule module_;
    vms::host::StreamModules modules_{{&module_}, log_};
    vms::host::ReceiverTable receivers_;
    RelayTable table_{modules_, receivers_, {}, [] { return theTime; }};
};

TEST_F(RelayTableTest, TheModulesAreAskedOnceHoweverManyWatch) {
    Gate gate;
    module_.onRequest = [&](long long, const __tagTvCommand&) { return gate.Wait() ? 0 : -1; };
    std::vector<std::future<std::shared_ptr<Relay>>> watchers;
    for (int i = 0; i < 8; ++i)
        watchers.push_back(std::async(std::launch::async, [this] { return table_.Acquire("k"); }));
    ASSERT_TRUE(module_.WaitFor("request", 1));
    gate.Open();
    std::vector<std::shared_ptr<Relay>> relays;
    for (auto& watcher : watchers)
        relays.push_back(watcher.get());
    for (const auto& relay : relays)
        ASSERT_EQ(relay, relays.front());
    const long long number = relays.front()->Number();
    EXPECT_EQ(receivers_.Find(number), relays.front());
    EXPECT_EQ(table_.List().size(), 1U);
    for (const auto& relay : relays) {
        EXPECT_NE(receivers_.Find(number), nullptr);
        table_.Release(relay);
    }
    EXPECT_EQ(receivers_.Find(number), nullptr);
    EXPECT_TRUE(table_.List().empty());
    EXPECT_EQ(EventsOf(number), (Events{"connect  without a port", "request 1049088 k ",
                                        "request 1049089 k ", "close"}));
    EXPECT_EQ(module_.All().size(), 1U);

    const auto again = table_.Acquire("k");
    ASSERT_NE(again, nullptr);
    EXPECT_NE(again->Number(), number);
    table_.Release(again);
}

TEST_F(RelayTableTest, AStreamThatNobodyHasLeavesNothingBehind) {
    module_.onRequest = [](long long, const __tagTvCommand&) { return -1; };
    EXPECT_EQ(table_.Acquire("k"), nullptr);
    EXPECT_EQ(EventsOf(1), (Events{"connect  without a port", "request 1049088 k ", "close"}));
    EXPECT_EQ(receivers_.Find(1), nullptr);
    module_.onRequest = nullptr;
    const auto relay = table_.Acquire("k");
    ASSERT_NE(relay, nullptr);
    table_.Release(relay);
}

TEST_F(RelayTableTest, ASilentStreamMayHaveGone) {
    const auto first = table_.Acquire("k");
    theTime += 2s;
    first->SendUnit(vms::host::test::TestUnit(vms::host::test::UnitType::kKey, 1, 100), false);
    EXPECT_EQ(table_.Acquire("k"), first);
    const size_t asked = module_.All().size();
    theTime += 2s;
    EXPECT_EQ(table_.Acquire("k"), first) << "silent, but there";
    EXPECT_EQ(module_.All().size(), asked + 1);
    module_.onRequest = [](long long, const __tagTvCommand&) { return -1; };
    EXPECT_EQ(table_.Acquire("k"), nullptr);
    EXPECT_TRUE(table_.List().empty());
    module_.onRequest = nullptr;
    const auto second = table_.Acquire("k");
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second, first);
    for (int i = 0; i < 3; ++i)
        table_.Release(first);
    EXPECT_EQ(EventsOf(first->Number()).back(), "close");
    EXPECT_NE(receivers_.Find(second->Number()), nullptr);
    table_.Release(second);
    EXPECT_TRUE(table_.List().empty());
}

}  // namespace
