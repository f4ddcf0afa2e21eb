#include "drivers/mediafile/sources/SyncSession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <stdexcept>

#include "drivers/mediafile/sources/SyncChannelSource.h"
#include "tests/drivers/mediafile/SampleMedia.h"
#include "tests/drivers/mediafile/UnitRecorder.h"

namespace vms::mediafile {
namespace {

constexpr int kChannels = 16;
constexpr const char* kFile = "20240502T080000Z_schedule";

class SyncSessionTest : public testing::Test {
protected:
    void SetUp() override {
        for (int i = 0; i < kChannels + 1; ++i) {
            const std::string extension = i % 2 == 0 ? ".mp4" : ".ts";
            const std::string sample = i % 2 == 0 ? "ch0/" : "ch3/";
            folder_.Copy(sample + kFile + extension,
                         "ch" + std::to_string(i) + "/" + kFile + extension);
        }
        session_ = std::make_unique<SyncSession>(folder_.Index(), table_);
    }
    int Create(int speed = 0) {
        return session_->Create("id", kDay2At8, kDay2At8 + kSampleSeconds, 0, 19, 0, speed, &sink_);
    }
    /// Attaches channels; each unit notes how late it is by the session's clock, in ms of media.
    void Attach(int count) {
        const auto group = table_->Find(session_->GetToken());
        ASSERT_NE(group, nullptr);
        sink_.OnUnit([clock = group->Clock()](const Unit& unit) {
            return clock->GetView().positionMs - int64_t{kDay2At8} * 1000 - unit.timestamp;
        });
        for (int channel = 0; channel < count; ++channel) {
            sources_.push_back(std::make_unique<SyncChannelSource>(group, channel, registry_));
            sources_.back()->StartPlayback("s", channel, 0, 0, 0, 0, 0, &sink_, false);
        }
    }
    bool WaitAllReached(int count, size_t since, uint32_t timestamp) {
        return sink_.WaitUnits([=](const UnitRecorder::Units& units) {
            std::map<std::string, uint32_t> reached;
            for (size_t i = since; i < units.size(); ++i)
                reached[units[i].key] = std::max(reached[units[i].key], units[i].timestamp);
            return std::count_if(reached.begin(), reached.end(), [=](const auto& entry) {
                       return entry.second >= timestamp;
                   }) == count;
        });
    }
    /// Typical and greatest lateness of the units after a place.
    void ExpectInStep(size_t since, uint32_t after) {
        const auto units = sink_.All();
        std::vector<int64_t> late;
        for (size_t i = since; i < units.size(); ++i) {
            if (units[i].timestamp > after)
                late.push_back(units[i].note);
        }
        ASSERT_GT(late.size(), 100U);
        std::sort(late.begin(), late.end());
        EXPECT_GE(late.front(), 0) << "nothing before its time";
        // Wide bounds, for loaded machines: a channel that is out of step stays so.
        EXPECT_LE(late[late.size() / 2], 250);
        EXPECT_LE(late.back(), 3000);
        RecordProperty("median", static_cast<int>(late[late.size() / 2]));
        RecordProperty("p99", static_cast<int>(late[late.size() * 99 / 100]));
    }

    const TestFolder folder_;
    UnitRecorder sink_;
    std::shared_ptr<SourceRegistry> registry_ = std::make_shared<SourceRegistry>();
    std::shared_ptr<SyncSessionTable> table_ = std::make_shared<SyncSessionTable>();
    std::unique_ptr<SyncSession> session_;
    std::vector<std::unique_ptr<SyncChannelSource>> sources_;
};

TEST_F(SyncSessionTest, KeepsSixteenChannelsInStep) {
    ASSERT_EQ(Create(), 0);
    std::list<int> channels(kChannels);
    int next = 0;
    std::generate(channels.begin(), channels.end(), [&next] { return next++; });
    ASSERT_EQ(session_->AddChannels(channels), 0);
    Attach(kChannels);
    ASSERT_EQ(session_->Start(), 0);
    ASSERT_TRUE(WaitAllReached(kChannels, 0, 1200));
    ExpectInStep(0, 0);
    EXPECT_EQ(sink_.All().front().key.substr(0, 3), "s--");

    // Pause, seek and go on: everybody shows the key picture, then all run together again.
    ASSERT_EQ(session_->Pause(), 0);
    const size_t paused = sink_.Count();
    ASSERT_EQ(session_->Seek(kDay2At8 + 3), 0);
    ASSERT_TRUE(WaitAllReached(kChannels, paused, 3000));
    const size_t ready = sink_.Count();
    ASSERT_EQ(session_->Resume(), 0);
    ASSERT_TRUE(WaitAllReached(kChannels, ready, 3800));
    ExpectInStep(ready, 3000);

    const size_t faster = sink_.Count();
    ASSERT_EQ(session_->SetSpeed(2), 0);
    ASSERT_TRUE(sink_.WaitMessage("playback end", kChannels));
    ExpectInStep(faster, 0);
}

TEST_F(SyncSessionTest, LetsALateChannelCatchUp) {
    ASSERT_EQ(Create(), 0);
    Attach(1);
    ASSERT_EQ(session_->Start(), 0);
    ASSERT_TRUE(WaitAllReached(1, 0, 1500));
    const auto group = table_->Find(session_->GetToken());
    UnitRecorder lateSink;
    SyncChannelSource late(group, 5, registry_);
    late.StartPlayback("s", 5, 0, 0, 0, 0, 0, &lateSink, false);
    ASSERT_TRUE(lateSink.WaitCount(1));
    EXPECT_TRUE(lateSink.All().front().IsKey());
    EXPECT_GE(lateSink.All().front().timestamp, 1000U);
    EXPECT_EQ(lateSink.All().front().key, "s--5");
    late.StopPlayback("");
    EXPECT_TRUE(Eventually([&] { return late.GetCloseGetStreamStatus(); }));
    EXPECT_FALSE(sources_.front()->GetCloseGetStreamStatus());
}

TEST_F(SyncSessionTest, BoundsItsChannels) {
    ASSERT_EQ(Create(), 0);
    std::list<int> unknown{0, 17};
    EXPECT_EQ(session_->AddChannels(unknown), -1);
    std::list<int> all;
    for (int i = 0; i <= kChannels; ++i)
        all.push_back(i);
    EXPECT_EQ(session_->AddChannels(all), -1) << "one too many";
    Attach(2);
    ASSERT_TRUE(WaitAllReached(2, 0, 0));
    SyncChannelSource seventeenth(table_->Find(session_->GetToken()), 16, registry_);
    std::list<int> rest(14);
    std::iota(rest.begin(), rest.end(), 2);
    ASSERT_EQ(session_->AddChannels(rest), 0);
    EXPECT_THROW(seventeenth.StartPlayback("s", 16, 0, 0, 0, 0, 0, &sink_, false),
                 std::runtime_error);
    EXPECT_TRUE(seventeenth.GetCloseGetStreamStatus());
    EXPECT_EQ(sources_[1]->Pause("") + sources_[1]->Seek("", 1), -2);
}

TEST_F(SyncSessionTest, AChannelTakenOutAndAddedAgainPlaysOn) {
    // Slowly, so that the range does not end meanwhile.
    ASSERT_EQ(Create(-4), 0);
    Attach(3);
    ASSERT_EQ(session_->Start(), 0);
    ASSERT_TRUE(WaitAllReached(3, 0, 300));
    std::list<int> some{0, 9};
    ASSERT_EQ(session_->DelChannels(some), 0);
    EXPECT_EQ(session_->DelChannels(some), 0) << "out already";
    const auto count = [this](const std::string& key) {
        const auto units = sink_.All();
        return std::count_if(units.begin(), units.end(),
                             [&key](const Unit& unit) { return unit.key == key; });
    };
    // What was on its way may still come; then nothing does, while the others go on.
    const auto group = table_->Find(session_->GetToken());
    size_t seen = sink_.Count();
    ASSERT_TRUE(WaitAllReached(2, seen, 400));
    const auto before = count("s--0");
    seen = sink_.Count();
    ASSERT_TRUE(WaitAllReached(2, seen, 700));
    EXPECT_EQ(count("s--0"), before);

    ASSERT_EQ(session_->AddChannels(some), 0);
    ASSERT_TRUE(WaitAllReached(3, seen, 900));
    // A source that closes while it is out of the session does not come back.
    ASSERT_EQ(session_->DelChannels(some), 0);
    sources_[0]->StopPlayback("");
    EXPECT_TRUE(Eventually([&] { return sources_[0]->GetCloseGetStreamStatus(); }));
    ASSERT_EQ(session_->AddChannels(some), 0);
    EXPECT_TRUE(sources_[0]->GetCloseGetStreamStatus());
    // Nor does one that the family's end finds there.
    some = {1};
    ASSERT_EQ(session_->DelChannels(some), 0);
    EXPECT_TRUE(registry_->CloseAll(std::chrono::seconds(30)));
    EXPECT_TRUE(sources_[1]->GetCloseGetStreamStatus());
}

TEST_F(SyncSessionTest, LivesFromCreateToDestroy) {
    EXPECT_EQ(session_->Start(), -1);
    EXPECT_EQ(session_->Seek(kDay2At8), -1);
    EXPECT_EQ(session_->GetToken(), "");
    EXPECT_EQ(session_->Create("", kDay2At8, kDay2At9, 0, 0, 0, 0, &sink_), -1);
    EXPECT_EQ(session_->Create("id", kDay2At9, kDay2At8, 0, 0, 0, 0, &sink_), -1);
    EXPECT_EQ(Create(99), -1);
    ASSERT_EQ(Create(16), 0);
    EXPECT_EQ(Create(), -1) << "once only";
    EXPECT_EQ(session_->SetSpeed(-9), -1);
    EXPECT_FALSE(session_->GetCloseGetStreamStatus());
    Attach(1);
    ASSERT_EQ(session_->Start(), 0);
    ASSERT_TRUE(sink_.WaitMessage("playback end"));
    session_->RequestStopGetPlaybackStream();
    EXPECT_TRUE(session_->GetCloseGetStreamStatus());
    ASSERT_EQ(session_->Start(), 0) << "from the beginning";
    EXPECT_TRUE(sink_.WaitMessage("playback end", 2));
    const std::string token = session_->GetToken();
    session_->Destroy();
    EXPECT_EQ(table_->Find(token), nullptr);
}

}  // namespace
}  // namespace vms::mediafile
