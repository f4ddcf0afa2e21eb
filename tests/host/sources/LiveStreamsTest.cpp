// Live streams by address: how often modules are asked, what is told when there is none, and when a
// stream goes.
#include "host/sources/LiveStreams.h"

#include <vector>

#include "tests/host/net/TestUnit.h"
#include "tests/host/sources/SourcesFixture.h"

namespace {

using namespace std::chrono_literals;
using namespace vms::host;
using vms::host::test::SourcesFixture;
using vms::test::Gate;

class LiveStreamsTest : public SourcesFixture {
protected:
    static void Send(const LiveShare& share, uint32_t serial) {
        share.Stream().SendUnit(test::TestUnit(test::UnitType::kKey, serial, 100), false);
    }
};

TEST_F(LiveStreamsTest, OneAddressIsOnePullHoweverManyWatch) {
    Gate gate;
    onAsk = [&gate] { EXPECT_TRUE(gate.Wait()); };
    std::vector<std::future<Opened>> watchers;
    for (int i = 0; i < 8; ++i)
        watchers.push_back(Open({"hall", 0, 0}));
    gate.Open();
    std::vector<std::shared_ptr<LiveShare>> shares;
    for (auto& watcher : watchers)
        shares.push_back(watcher.get().first);
    for (const auto& share : shares)
        ASSERT_EQ(share, shares.front());
    EXPECT_EQ(OpenNow({"hall", 0, 0}).first, shares.front());
    EXPECT_EQ(asked, 1);
    EXPECT_NE(OpenNow({"hall", 0, 1}).first, shares.front()) << "another stream of the channel";
    EXPECT_EQ(asked, 2);

    shares.clear();
    ASSERT_TRUE(module_.WaitFor("close", 2)) << "both are given back";
    EXPECT_NE(OpenNow({"hall", 0, 0}).first, nullptr);
    EXPECT_EQ(asked, 3);
}

TEST_F(LiveStreamsTest, SaysWhyThereIsNoStream) {
    EXPECT_EQ(OpenNow({"nobody", 0, 0}).second.status, 404);
    succeeds = false;
    EXPECT_EQ(OpenNow({"hall", 0, 0}).second.status, 404);
    succeeds = true;
    scheme = "rtsp://";
    EXPECT_EQ(OpenNow({"hall", 0, 0}).second.status, 409) << "players open its own address";
    scheme = "";
    isGone = true;
    EXPECT_EQ(OpenNow({"hall", 0, 0}).second.status, 503) << "gone as soon as it came";
    isGone = false;
    EXPECT_NE(OpenNow({"hall", 0, 0}).first, nullptr);
}

TEST_F(LiveStreamsTest, ASilentDeviceUsesUpItsOwnShareOnly) {
    Gate gate;
    onAsk = [&gate] { EXPECT_TRUE(gate.Wait()); };
    std::vector<std::future<Opened>> watchers;
    for (int channel = 0; channel < DeviceModules::kMostWaiting; ++channel)
        watchers.push_back(Open({"hall", channel, 0}));
    EXPECT_EQ(OpenNow({"hall", 99, 0}).second.status, 503);
    EXPECT_EQ(OpenNow({"nobody", 0, 0}).second.status, 404);
    gate.Open();
    for (auto& watcher : watchers)
        EXPECT_NE(watcher.get().first, nullptr);
    EXPECT_NE(OpenNow({"hall", 99, 0}).first, nullptr);
}

TEST_F(LiveStreamsTest, AStreamThatHasGoneIsAskedForAgain) {
    goneKey = "key-1";
    const auto first = OpenNow({"hall", 0, 0}).first;
    ASSERT_NE(first, nullptr);
    Send(*first, 1);
    Pass(3s);
    EXPECT_EQ(OpenNow({"hall", 0, 0}).first, first) << "silent, but there";
    EXPECT_EQ(asked, 1);

    isGone = true;
    const auto second = OpenNow({"hall", 0, 0}).first;
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second, first);
    EXPECT_EQ(second->Stream().Key(), "key-2");
    EXPECT_EQ(OpenNow({"hall", 0, 0}).first, second);
}

/// An outlet that remembers how it ended.
class Watcher final : public Outlet {
public:
    explicit Watcher(std::promise<std::string>& ended) : ended_(ended) {}
    void Take(const vms::MediaUnit&) override {}
    void Tell(const __tagTvCommand&) override {}
    void End(const std::string& reason) override { ended_.set_value(reason); }
    OutletCounts Counts() const override { return {1, 0}; }

private:
    std::promise<std::string>& ended_;
};

TEST_F(LiveStreamsTest, WhoWatchesAStreamThatHasGoneIsTold) {
    auto share = OpenNow({"hall", 0, 0}).first;
    ASSERT_NE(share, nullptr);
    std::promise<std::string> ended;
    share->Stream().WithOutlet(
        "test", [&ended] { return std::make_shared<Watcher>(ended); }, [](Outlet&) {});
    auto reason = ended.get_future();
    live_.Sweep();
    Pass(3s);
    live_.Sweep();
    ASSERT_TRUE(module_.WaitFor("request", 3)) << "asked whether it is there, and it is";
    isGone = true;
    while (reason.wait_for(1ms) != std::future_status::ready)
        live_.Sweep();  // the last one may still be under way
    EXPECT_EQ(reason.get(), "the stream has gone");
}

}  // namespace
