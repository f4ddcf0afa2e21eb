#include <algorithm>
#include <future>

#include "drivers/httpdevice/device/HttpDevice.h"
#include "tests/drivers/httpdevice/FamilyFixture.h"
#include "videodevice/IPlaybackStreamServer.h"
#include "videodevice/ISyncPlaybackServer.h"

namespace vms::httpdevice {
namespace {

constexpr int kBegin = kUntil - 4 * kHour;

class SyncTest : public FamilyFixture {
protected:
    void SetUp() override {
        FamilyFixture::SetUp();
        device_ = Make(sim_.Device(0));
        session_.reset(factory_.CreateSyncPlaybackServer(device_.get()));
        ASSERT_NE(session_, nullptr);
    }
    std::unique_ptr<IPlaybackStreamServer> MakeChannel(int channel) {
        return std::unique_ptr<IPlaybackStreamServer>(
            factory_.CreateSyncPlaybackChannelServer(device_.get(), channel, session_->GetToken()));
    }
    std::unique_ptr<IPlaybackStreamServer> Join(int channel) {
        auto source = MakeChannel(channel);
        if (source != nullptr)
            source->StartPlayback("s", channel, 0, 0, 0, 0, 0, &sink_, false);
        return source;
    }
    /// Waits until both channels have got so far. @param second of the range
    bool WaitBoth(int second) { return WaitReached("s--0", second) && WaitReached("s--1", second); }
    /// @param since number of units before those that count
    bool WaitReached(const std::string& key, int second, size_t since = 0) {
        return sink_.WaitUnits([&](const UnitRecorder::Units& units) {
            return std::any_of(units.begin() + static_cast<std::ptrdiff_t>(since), units.end(),
                               [&](const Unit& unit) {
                                   return unit.key == key &&
                                          static_cast<int>(unit.timestamp / 1000) >= second;
                               });
        });
    }
    int Joins() const { return sim_.State(0)["stats"]["counts"]["ws:syncPlay"].asInt(); }

    const HttpDevsim sim_{
        {"--nvr", "1", "--channels", "4", "--recorded-until", std::to_string(kUntil)}};
    std::shared_ptr<IVideoDevice> device_;
    std::unique_ptr<ISyncPlaybackServer> session_;
    UnitRecorder sink_;
};

TEST_F(SyncTest, PlaysChannelsInStep) {
    EXPECT_EQ(session_->GetToken(), "");
    EXPECT_EQ(session_->Start(), -1);
    ASSERT_EQ(session_->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink_), 0);
    EXPECT_EQ(session_->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink_), -1);
    std::list<int> channels{0, 1};
    std::list<int> none{0, 9};
    EXPECT_EQ(session_->AddChannels(none), -1);
    EXPECT_EQ(session_->AddChannels(channels), 0);
    auto first = Join(0);
    const auto second = Join(1);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(session_->Start(), 0);
    EXPECT_TRUE(WaitBoth(1));
    EXPECT_EQ(session_->Pause(), 0);
    EXPECT_EQ(session_->Seek(kBegin + 600), 0);
    EXPECT_EQ(session_->SetSpeed(2), 0);
    EXPECT_EQ(session_->SetSpeed(99), -1);
    EXPECT_EQ(session_->Resume(), 0);
    EXPECT_TRUE(WaitBoth(602));
    EXPECT_EQ(session_->Stop(), 0);
    EXPECT_EQ(session_->Start(), 0);
    EXPECT_TRUE(sink_.WaitUnits([](const auto& units) {
        return !units.empty() && units.back().timestamp < 100'000;
    })) << "anew";
    std::list<int> gone{1};
    EXPECT_EQ(session_->DelChannels(gone), 0);
    EXPECT_TRUE(sink_.WaitMessage("playback end"));
    EXPECT_TRUE(Eventually([&] { return second->GetCloseGetStreamStatus(); }));
    EXPECT_EQ(sink_.Messages(), std::vector<std::string>{"playback end"}) << "no loss with it";

    session_->Stop();
    session_->RequestStopGetPlaybackStream();
    first->StopPlayback("");
    EXPECT_TRUE(Eventually([&] { return session_->GetCloseGetStreamStatus(); }));
    EXPECT_TRUE(Eventually([&] { return first->GetCloseGetStreamStatus(); }));
    EXPECT_TRUE(Eventually([&] { return sim_.State(0)["syncSessions"] == 0; }));
    session_->Destroy();
    EXPECT_EQ(session_->Start(), -1);
}

TEST_F(SyncTest, AChannelTakenOutAndAddedAgainPlaysOn) {
    ASSERT_EQ(session_->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink_), 0);
    const auto first = Join(0);
    const auto second = Join(1);
    ASSERT_EQ(session_->Start(), 0);
    ASSERT_TRUE(WaitBoth(0));
    std::list<int> one{1};
    ASSERT_EQ(session_->DelChannels(one), 0);
    ASSERT_TRUE(sink_.WaitMessage("playback end"));
    ASSERT_TRUE(Eventually([&] { return second->GetCloseGetStreamStatus(); }));
    size_t seen = sink_.Count();
    ASSERT_EQ(session_->Seek(kBegin + 600), 0);
    ASSERT_TRUE(WaitReached("s--0", 600, seen));
    const auto since = sink_.All();
    EXPECT_TRUE(std::all_of(since.begin() + static_cast<std::ptrdiff_t>(seen), since.end(),
                            [](const Unit& unit) { return unit.key == "s--0"; }));
    ASSERT_EQ(session_->AddChannels(one), 0);
    EXPECT_TRUE(WaitReached("s--1", 600, seen)) << "where the session is";
    EXPECT_EQ(Joins(), 3);
    ASSERT_EQ(session_->AddChannels(one), 0);
    EXPECT_EQ(sink_.Messages(), std::vector<std::string>{"playback end"});

    // Before the device has ended the stream.
    ASSERT_EQ(session_->DelChannels(one), 0);
    ASSERT_EQ(session_->AddChannels(one), 0);
    ASSERT_TRUE(Eventually([&] { return Joins() == 4; })) << "once, not for a channel that plays";
    seen = sink_.Count();
    EXPECT_TRUE(WaitReached("s--1", 600, seen));

    // What closes while it is out does not come back.
    ASSERT_EQ(session_->DelChannels(one), 0);
    second->StopPlayback("");
    ASSERT_EQ(session_->AddChannels(one), 0);
    EXPECT_TRUE(Eventually([&] { return second->GetCloseGetStreamStatus(); }));
    EXPECT_TRUE(Eventually([&] { return sim_.State(0)["stats"]["streams"] == 1; }));
    EXPECT_EQ(Joins(), 4);
    EXPECT_FALSE(first->GetCloseGetStreamStatus());
}

TEST_F(SyncTest, AChannelIsTakenOutBeforeItPlays) {
    ASSERT_EQ(session_->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink_), 0);
    ASSERT_EQ(session_->Start(), 0);
    const auto first = MakeChannel(0);
    std::list<int> channels{0};
    ASSERT_EQ(session_->DelChannels(channels), 0);
    first->StartPlayback("s", 0, 0, 0, 0, 0, 0, &sink_, false);
    ASSERT_TRUE(sink_.WaitMessage("playback end")) << "it does not take itself in again";
    EXPECT_EQ(Joins(), 0);
    ASSERT_EQ(session_->AddChannels(channels), 0);
    EXPECT_TRUE(WaitReached("s--0", 0));
}

TEST_F(SyncTest, LostChannelsComeBackWhenTheyAreAdded) {
    ASSERT_EQ(session_->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink_), 0);
    const auto first = Join(0);
    const auto second = Join(1);
    ASSERT_EQ(session_->Start(), 0);
    ASSERT_TRUE(WaitBoth(0));
    sim_.Drop(0);
    ASSERT_TRUE(sink_.WaitMessage("3", 2));
    const size_t seen = sink_.Count();
    std::list<int> channels{0, 1};
    ASSERT_TRUE(Eventually([&] { return session_->AddChannels(channels) == 0; }));
    EXPECT_TRUE(WaitReached("s--0", 0, seen) && WaitReached("s--1", 0, seen));
    EXPECT_EQ(sink_.Messages().size(), 2U);
}

TEST_F(SyncTest, TheConnectionBeforeIsNotHeard) {
    ASSERT_EQ(session_->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink_), 0);
    const auto first = Join(0);
    const auto second = Join(1);
    ASSERT_EQ(session_->Start(), 0);
    ASSERT_TRUE(WaitBoth(0));
    // As long as these jobs last, no connection gives way to another.
    std::promise<void> gate;
    const std::shared_future<void> opened = gate.get_future().share();
    JobPool& jobs = dynamic_cast<HttpDevice&>(*device_).Connection()->Runtime()->Jobs();
    for (int thread = 0; thread < 2; ++thread)
        jobs.Run([opened] { opened.wait_for(std::chrono::minutes(1)); });
    std::list<int> channels{0};
    ASSERT_EQ(session_->DelChannels(channels), 0);
    ASSERT_EQ(session_->AddChannels(channels), 0);
    sim_.Drop(0);
    ASSERT_TRUE(sink_.WaitMessage("3")) << "of the other channel";
    const size_t seen = sink_.Count();
    gate.set_value();
    EXPECT_TRUE(WaitReached("s--0", 0, seen));
    EXPECT_EQ(sink_.Messages().size(), 1U);
}

TEST_F(SyncTest, ChannelsJoinWithoutBeingAdded) {
    ASSERT_EQ(session_->Create("id", kBegin, kBegin + kHour, kBegin + 60, 0, 1, 0, &sink_), 0);
    EXPECT_EQ(factory_.CreateSyncPlaybackChannelServer(device_.get(), 0, "no token"), nullptr);
    EXPECT_EQ(session_->Start(), 0);
    const auto first = Join(0);
    const auto second = Join(1);
    EXPECT_TRUE(WaitBoth(60));
    const auto missing = Join(7);
    EXPECT_TRUE(sink_.WaitMessage("3")) << "nobody has asked what the device has";
    ASSERT_TRUE(Works(*device_));
    EXPECT_EQ(Join(7), nullptr);
    for (const Unit& unit : sink_.All())
        EXPECT_TRUE(unit.key == "s--0" || unit.key == "s--1") << unit.key;
}

TEST_F(SyncTest, TokensAreEachDevicesOwn) {
    const HttpDevsim sim(
        {"--nvr", "2", "--recorded-until", std::to_string(kUntil), "--fault", "0-1:sameToken"});
    const std::shared_ptr<IVideoDevice> devices[] = {Make(sim.Device(0)), Make(sim.Device(1))};
    std::unique_ptr<ISyncPlaybackServer> sessions[2];
    for (int i : {0, 1}) {
        sessions[i].reset(factory_.CreateSyncPlaybackServer(devices[i].get()));
        ASSERT_NE(sessions[i], nullptr);
        ASSERT_EQ(sessions[i]->Create("id", kBegin + i * 60, kBegin + kHour, 0, 0, 0, 0, &sink_),
                  0);
    }
    const std::string token = sessions[0]->GetToken();
    ASSERT_EQ(token, sessions[1]->GetToken());
    sessions[0].reset();
    EXPECT_EQ(factory_.CreateSyncPlaybackChannelServer(devices[0].get(), 0, token), nullptr);
    const std::unique_ptr<IPlaybackStreamServer> channel(
        factory_.CreateSyncPlaybackChannelServer(devices[1].get(), 0, token));
    EXPECT_NE(channel, nullptr) << "the other's has gone, not this one's";
}

TEST_F(SyncTest, FailsWithTheDevice) {
    sim_.SetFault(0, "wsRefused");
    EXPECT_EQ(session_->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink_), -1);
    sim_.ClearFaults(0);
    sim_.Expire(0);
    EXPECT_EQ(session_->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink_), 0)
        << "with a new login";
    EXPECT_EQ(session_->Start(), 0);
    sim_.SetFault(0, "refused");
    sim_.Drop(0);
    EXPECT_TRUE(Eventually([&] { return session_->Start() == -1; }));
    EXPECT_EQ(session_->Pause(), -1);
}

}  // namespace
}  // namespace vms::httpdevice
