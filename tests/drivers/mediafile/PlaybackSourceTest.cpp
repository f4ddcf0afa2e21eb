#include "drivers/mediafile/sources/PlaybackSource.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/drivers/mediafile/SampleMedia.h"
#include "tests/drivers/mediafile/UnitRecorder.h"

namespace vms::mediafile {
namespace {

class PlaybackSourceTest : public testing::Test {
protected:
    void Play(int begin, int end, int seek = 0, int types = 0) {
        source_->StartPlayback("key", 0, begin, end, 0, types, seek, &sink_, true);
    }
    static auto Reached(uint32_t timestamp) {
        return [timestamp](const UnitRecorder::Units& units) {
            return !units.empty() && units.back().timestamp >= timestamp;
        };
    }
    /// Units that have come since there were `count`.
    UnitRecorder::Units Since(size_t count) {
        auto units = sink_.All();
        units.erase(units.begin(), units.begin() + static_cast<std::ptrdiff_t>(count));
        return units;
    }
    static size_t Pictures(const UnitRecorder::Units& units) {
        return static_cast<size_t>(
            std::count_if(units.begin(), units.end(), [](const Unit& u) { return u.IsVideo(); }));
    }

    UnitRecorder sink_;
    std::shared_ptr<SourceRegistry> registry_ = std::make_shared<SourceRegistry>();
    std::unique_ptr<PlaybackSource> source_ =
        std::make_unique<PlaybackSource>(SampleIndex(), registry_);
};

TEST_F(PlaybackSourceTest, PlaysTheRangeAndSaysWhenItEnds) {
    EXPECT_EQ(source_->GetStreamUri(), "");
    EXPECT_TRUE(source_->GetCloseGetStreamStatus());
    // From the middle of a recording, over a gap of half an hour, into the next.
    Play(kDay2At8 + 4, kDay2At830 + 1);
    ASSERT_TRUE(sink_.WaitMessage("playback end"));
    const auto units = sink_.All();
    EXPECT_EQ(units.front().key, "key");
    EXPECT_EQ(Pictures(units), 75U);
    EXPECT_TRUE(units.front().IsKey());
    EXPECT_EQ(units.front().timestamp, 0U);
    EXPECT_GT(units.size(), 75U + 20U) << "sound";
    const auto beyondGap = std::find_if(units.begin(), units.end(),
                                        [](const Unit& unit) { return unit.timestamp > 5000; });
    ASSERT_NE(beyondGap, units.end());
    EXPECT_EQ(beyondGap->timestamp, 1'796'000U);
    EXPECT_EQ(sink_.Messages().size(), 1U);
    // A seek goes on after the end.
    source_->Seek("key", kDay2At830);
    EXPECT_TRUE(sink_.WaitUnits([&](const auto& all) { return all.size() > units.size() + 30; }));
    EXPECT_TRUE(sink_.WaitMessage("playback end", 2));
}

TEST_F(PlaybackSourceTest, TakesTypesAndAFirstPlace) {
    Play(kDay2At8, kDay2At9 + 60, kDay2At9 + 4, 16);
    ASSERT_TRUE(sink_.WaitMessage("playback end"));
    EXPECT_EQ(sink_.All().front().timestamp, 3'604'000U);
    EXPECT_EQ(Pictures(sink_.All()), 50U);
}

TEST_F(PlaybackSourceTest, ShowsThePictureOfASeekWhilePaused) {
    Play(kDay2At8, kDay2At8 + 6);
    ASSERT_TRUE(sink_.WaitUnits(Reached(200)));
    EXPECT_EQ(source_->Pause("key"), 0);
    source_->Seek("key", kDay2At8 + 3);
    ASSERT_TRUE(sink_.WaitUnits(Reached(3000)));
    const auto paused = sink_.All();
    EXPECT_EQ(source_->Resume("key"), 0);
    ASSERT_TRUE(sink_.WaitUnits(Reached(3400)));
    const auto seek = std::find_if(paused.begin(), paused.end(),
                                   [](const Unit& unit) { return unit.timestamp >= 2900; });
    ASSERT_NE(seek, paused.end());
    EXPECT_TRUE(seek->IsKey());
    for (const Unit& unit : paused)
        EXPECT_LE(unit.timestamp, 3000U);
    // Back again, between two key pictures.
    const size_t count = sink_.Count();
    source_->Seek("key", kDay2At8 + 1);
    ASSERT_TRUE(sink_.WaitUnits(
        [&](const auto& units) { return units.size() > count && units.back().timestamp < 2000; }));
    const auto after = Since(count);
    const auto first = std::find_if(after.begin(), after.end(),
                                    [](const Unit& unit) { return unit.timestamp <= 1000; });
    ASSERT_NE(first, after.end());
    EXPECT_TRUE(first->IsKey());
}

TEST_F(PlaybackSourceTest, SendsKeyPicturesOnlyWhenFast) {
    EXPECT_EQ(source_->SetSpeed("key", 17), -1);
    EXPECT_EQ(source_->SetSpeed("key", -5), -1);
    Play(kDay2At8, kDay2At8 + 6);
    source_->Pause("key");
    ASSERT_TRUE(sink_.WaitCount(1));
    EXPECT_EQ(source_->SetSpeed("key", 8), 0);
    const size_t count = sink_.Count();
    source_->Resume("key");
    ASSERT_TRUE(sink_.WaitMessage("playback end"));
    auto units = Since(count);
    ASSERT_GE(units.size(), 4U);
    // The unit that was waiting while the speed changed may still come.
    units.erase(units.begin());
    for (const Unit& unit : units)
        EXPECT_TRUE(unit.IsKey());
}

TEST_F(PlaybackSourceTest, LeavesSoundOutWhenSlowOrFast) {
    Play(kDay2At8, kDay2At8 + 6);
    source_->Pause("key");
    ASSERT_TRUE(sink_.WaitCount(1));
    EXPECT_EQ(source_->SetSpeed("key", 4), 0);
    const size_t count = sink_.Count();
    source_->Resume("key");
    ASSERT_TRUE(sink_.WaitMessage("playback end"));
    auto units = Since(count);
    ASSERT_GT(units.size(), 100U);
    units.erase(units.begin());
    EXPECT_EQ(Pictures(units), units.size());
}

TEST_F(PlaybackSourceTest, WaitsForASlowPlayer) {
    sink_.SetQueued(1000);
    Play(kDay2At8, kDay2At8 + 2);
    ASSERT_TRUE(sink_.WaitQueries(20));
    EXPECT_EQ(sink_.Count(), 0U);
    sink_.SetQueued(3);
    ASSERT_TRUE(sink_.WaitMessage("playback end"));
    EXPECT_EQ(Pictures(sink_.All()), 50U);
}

TEST_F(PlaybackSourceTest, DownloadsAsFastAsThePlayerTakes) {
    sink_.SetQueued(1000);
    const auto begin = std::chrono::steady_clock::now();
    source_->StartDownload("key", 0, kDay1At10, kDay2At9 + 60, &sink_);
    ASSERT_TRUE(sink_.WaitQueries(5));
    EXPECT_EQ(sink_.Count(), 0U);
    sink_.SetQueued(0);
    ASSERT_TRUE(sink_.WaitMessage("download end"));
    const auto units = sink_.All();
    EXPECT_EQ(Pictures(units), 4U * 25 * kSampleSeconds);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3 * kSampleSeconds))
        << "24 s of media";
}

TEST_F(PlaybackSourceTest, KeepsOfferingADownloadThatNobodyTakes) {
    sink_.SetQueued(-1);
    source_->StartDownload("key", 0, kDay2At8, kDay2At9, &sink_);
    EXPECT_TRUE(sink_.WaitCount(3)) << "the sink has to notice";
}

TEST_F(PlaybackSourceTest, StopsAndStartsAnew) {
    Play(kDay2At8, kDay2At8 + 6);
    ASSERT_TRUE(sink_.WaitCount(2));
    source_->StopPlayback("");
    source_->StartPlayback("other", 1, kDay1At10, kDay1At10 + 1, 0, 0, 0, &sink_, false);
    ASSERT_TRUE(sink_.WaitMessage("playback end"));
    EXPECT_EQ(sink_.All().back().key, "other");
    // Nothing there: the end comes at once.
    const auto playNothing = [this] {
        source_->StartPlayback("none", 1, kDay2At9 + 600, kDay2At9 + 700, 0, 0, 0, &sink_, false);
    };
    playNothing();
    EXPECT_TRUE(sink_.WaitMessage("playback end", 2));
    source_->RequestStopGetPlaybackStream();
    EXPECT_TRUE(Eventually([&] { return source_->GetCloseGetStreamStatus(); }));
    EXPECT_THROW(playNothing(), std::runtime_error) << "closed for good";
}

TEST_F(PlaybackSourceTest, MayBeDestroyedWhilePlaying) {
    Play(kDay2At8, kDay2At8 + 6);
    ASSERT_TRUE(sink_.WaitCount(2));
    source_.reset();
    const size_t count = sink_.Count();
    EXPECT_TRUE(registry_->CloseAll(std::chrono::seconds(1)));
    EXPECT_EQ(sink_.Count(), count);
}

}  // namespace
}  // namespace vms::mediafile
