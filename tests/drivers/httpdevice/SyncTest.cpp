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
    std::unique_ptr<IPlaybackStreamServer> Join(int channel) {
        std::unique_ptr<IPlaybackStreamServer> source(
            factory_.CreateSyncPlaybackChannelServer(device_.get(), channel, session_->GetToken()));
        if (source != nullptr)
            source->StartPlayback("s", channel, 0, 0, 0, 0, 0, &sink_, false);
        return source;
    }
    /// Waits until both channels have got so far. @param second of the range
    bool WaitBoth(int second) {
        return sink_.WaitUnits([second](const UnitRecorder::Units& units) {
            bool reached[2] = {false, false};
            for (const Unit& unit : units) {
                const bool late = static_cast<int>(unit.timestamp / 1000) >= second;
                reached[unit.key == "s--1" ? 1 : 0] |= late;
            }
            return reached[0] && reached[1];
        });
    }

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
