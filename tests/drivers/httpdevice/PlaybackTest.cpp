#include <set>

#include "tests/drivers/httpdevice/FamilyFixture.h"
#include "videodevice/IPlaybackStreamServer.h"

namespace vms::httpdevice {
namespace {

constexpr int kBegin = kUntil - 4 * kHour;

class PlaybackTest : public FamilyFixture {
protected:
    void SetUp() override {
        FamilyFixture::SetUp();
        device_ = Make(sim_.Device(0));
    }
    std::unique_ptr<IPlaybackStreamServer> MakePlayback() {
        int speedOnlyI = -1;
        std::unique_ptr<IPlaybackStreamServer> source(
            factory_.CreatePlaybackServer(device_.get(), &speedOnlyI, -1));
        EXPECT_EQ(speedOnlyI, 5);
        return source;
    }
    std::unique_ptr<IPlaybackStreamServer> MakeDownload() {
        return std::unique_ptr<IPlaybackStreamServer>(
            factory_.CreateDownloadServer(device_.get(), 0));
    }
    /// The last video unit's time in the range, s; -1 before the first.
    static int Second(const UnitRecorder::Units& units) {
        for (auto unit = units.rbegin(); unit != units.rend(); ++unit) {
            if (unit->IsVideo())
                return static_cast<int>(unit->timestamp / 1000);
        }
        return -1;
    }
    int Requests(const std::string& action) const {
        return sim_.State(0)["stats"]["counts"]["ws:" + action].asInt();
    }
    int Frames() const { return sim_.State(0)["stats"]["frames"].asInt(); }

    const HttpDevsim sim_{
        {"--nvr", "1", "--channels", "2", "--recorded-until", std::to_string(kUntil)}};
    std::shared_ptr<IVideoDevice> device_;
    UnitRecorder sink_;
};

TEST_F(PlaybackTest, PlaysARangeToItsEndAndGoesOnAfterASeek) {
    const auto source = MakePlayback();
    EXPECT_EQ(source->GetStreamUri(), "");
    source->StartPlayback("p", 1, kBegin, kBegin + 2, 1, 0, 0, &sink_, true);
    ASSERT_TRUE(sink_.WaitMessage("playback end"));
    const auto units = sink_.All();
    EXPECT_TRUE(units.front().IsKey());
    EXPECT_EQ(units.front().timestamp, 0U);
    uint32_t last[2] = {0, 0};
    for (const Unit& unit : units) {
        EXPECT_EQ(unit.key, "p");
        EXPECT_GE(unit.timestamp, last[unit.type & 1]);
        EXPECT_LT(unit.timestamp, 2000U);
        last[unit.type & 1] = unit.timestamp;
    }
    EXPECT_GT(last[0], 1800U);
    EXPECT_EQ(source->Seek("p", kBegin + 1), 0);
    EXPECT_TRUE(sink_.WaitMessage("playback end", 2));
    EXPECT_GT(sink_.Count(), units.size());
    source->RequestStopGetPlaybackStream();
    EXPECT_TRUE(Eventually([&] { return source->GetCloseGetStreamStatus(); }));
}

TEST_F(PlaybackTest, PausesSeeksAndChangesSpeed) {
    const auto source = MakePlayback();
    EXPECT_EQ(source->SetSpeed("p", 17), -1);
    source->StartPlayback("p", 0, kBegin, kBegin + kHour, 0, 0, kBegin + 600, &sink_, true);
    ASSERT_TRUE(sink_.WaitUnits([](const auto& units) { return Second(units) >= 600; }));
    EXPECT_GE(sink_.All().front().timestamp, 590'000U) << "begins at the wanted place";
    source->Pause("p");
    ASSERT_TRUE(Eventually([&] { return Requests("pause") == 1; }));
    const int still = Frames();
    source->Seek("p", kBegin + 1200);
    source->Resume("p");
    ASSERT_TRUE(sink_.WaitUnits([](const auto& units) { return Second(units) >= 1200; }));
    EXPECT_GE(Frames(), still);
    uint32_t before = 0;
    for (const Unit& unit : sink_.All()) {
        if (!unit.IsVideo())
            continue;
        EXPECT_FALSE(before > 1'000'000 && unit.timestamp < 1'000'000) << "a unit from before";
        before = unit.timestamp;
    }
    EXPECT_EQ(source->SetSpeed("p", 16), 0);
    ASSERT_TRUE(sink_.WaitUnits([](const auto& units) { return Second(units) >= 1240; }));
    source->Seek("p", 5);
    ASSERT_TRUE(sink_.WaitUnits([](const auto& units) { return Second(units) < 600; }))
        << "moved into the range";
    source->StopPlayback("p");
    source->StartPlayback("q", 1, kBegin, kBegin + kHour, 0, 0, 0, &sink_, false);
    EXPECT_TRUE(sink_.WaitUnits([](const auto& units) { return units.back().key == "q"; }));
}

TEST_F(PlaybackTest, TellsWhatCannotBePlayedAndWhatIsLost) {
    const auto source = MakePlayback();
    source->StartPlayback("p", 0, 1000, 2000, 0, 0, 0, &sink_, true);
    ASSERT_TRUE(sink_.WaitMessage("playback end")) << "nothing is recorded there";
    source->StartPlayback("p", 0, kBegin, kBegin + kHour, 0, 0, 0, &sink_, false);
    ASSERT_TRUE(sink_.WaitCount(10));
    sim_.Drop(0);
    ASSERT_TRUE(sink_.WaitMessage("3", 2));
    const size_t before = sink_.Count();
    source->Seek("p", kBegin + 60);
    EXPECT_TRUE(sink_.WaitCount(before + 10)) << "over a new connection";
    sim_.Expire(0);
    EXPECT_TRUE(sink_.WaitUnits([](const auto& units) { return Second(units) > 62; }))
        << "goes on where it was, with a new session";
    EXPECT_EQ(sink_.Messages().size(), 2U);
}

TEST_F(PlaybackTest, RefusesChannelsThatAreNotThere) {
    const auto source = MakePlayback();
    source->StartPlayback("p", 2, kBegin, kBegin + 2, 0, 0, 0, &sink_, true);
    ASSERT_TRUE(sink_.WaitMessage("playback end")) << "nobody has asked what the device has";

    const auto download = MakeDownload();
    for (const int channel : {-1, 2}) {
        EXPECT_THROW(download->StartDownload("d", channel, kBegin, kBegin + 2, &sink_),
                     std::runtime_error);
        EXPECT_THROW(
            source->StartPlayback("p", channel, kBegin, kBegin + 2, 0, 0, 0, &sink_, false),
            std::runtime_error);
    }
    EXPECT_TRUE(download->GetCloseGetStreamStatus());
    download->StartDownload("d", 1, kBegin, kBegin + 2, &sink_);
    EXPECT_TRUE(sink_.WaitMessage("download end", 2)) << "another channel of the same stream";
}

TEST_F(PlaybackTest, ASlowPlayerPausesTheDevice) {
    const auto source = MakePlayback();
    sink_.SetQueued(100);
    source->StartPlayback("p", 0, kBegin, kBegin + kHour, 0, 0, 0, &sink_, true);
    ASSERT_TRUE(Eventually([&] { return Requests("pause") == 1; }));
    EXPECT_EQ(Requests("resume"), 0);
    sink_.SetQueued(0);
    EXPECT_TRUE(Eventually([&] { return Requests("resume") == 1; }));
    EXPECT_TRUE(sink_.WaitUnits([](const auto& units) { return Second(units) >= 1; }));
}

/// Everything that tells one unit from another.
std::vector<std::tuple<unsigned, uint32_t, std::string>> Contents(const UnitRecorder::Units& units,
                                                                  unsigned type) {
    std::vector<std::tuple<unsigned, uint32_t, std::string>> contents;
    for (const Unit& unit : units) {
        if (unit.type == type)
            contents.emplace_back(unit.frameType, unit.timestamp, unit.payload);
    }
    return contents;
}

TEST_F(PlaybackTest, ADownloadForASlowPlayerIsTheSame) {
    UnitRecorder fast;
    const auto quick = MakeDownload();
    quick->StartDownload("d", 0, kBegin + 5, kBegin + 95, &fast);
    ASSERT_TRUE(fast.WaitMessage("download end"));
    EXPECT_GT(fast.Count(), 2000U);
    EXPECT_EQ(quick->SetSpeed("d", 4), -1);

    const auto held = MakeDownload();
    sink_.OnUnit([&, count = 0](const Unit&) mutable {
        if (++count % 300 == 0)
            sink_.SetQueued(100);
        return 0;
    });
    held->StartDownload("d", 0, kBegin + 5, kBegin + 95, &sink_);
    for (int holds = 1; holds < 8 && sink_.Messages().empty(); ++holds) {
        EXPECT_TRUE(
            Eventually([&] { return Requests("stop") >= holds || !sink_.Messages().empty(); }));
        sink_.SetQueued(0);
    }
    ASSERT_TRUE(Eventually([&] {
        sink_.SetQueued(0);
        return !sink_.Messages().empty();
    }));
    EXPECT_EQ(sink_.Messages().back(), "download end");
    EXPECT_GE(Requests("stop"), 3);
    for (const unsigned type : {0U, 1U})
        EXPECT_TRUE(Contents(sink_.All(), type) == Contents(fast.All(), type)) << type;
}

}  // namespace
}  // namespace vms::httpdevice
