#include "drivers/mediafile/clock/PlaybackClock.h"

#include <gtest/gtest.h>

#include <thread>

namespace vms::mediafile {
namespace {

using State = PlaybackClock::State;
using Wake = PlaybackClock::Wake;

TEST(PlaybackSpeed, IsOneInteger) {
    EXPECT_TRUE(PlaybackSpeed::FromCode(0)->IsNormal());
    EXPECT_TRUE(PlaybackSpeed::FromCode(1)->IsNormal());
    EXPECT_TRUE(PlaybackSpeed::FromCode(-1)->IsNormal());
    EXPECT_EQ(PlaybackSpeed::FromCode(-4)->denominator, 4);
    EXPECT_EQ(PlaybackSpeed::FromCode(16)->numerator, 16);
    EXPECT_FALSE(PlaybackSpeed::FromCode(-5));
    EXPECT_FALSE(PlaybackSpeed::FromCode(17));
    EXPECT_FALSE(PlaybackSpeed::FromCode(4)->KeyFramesOnly());
    EXPECT_TRUE(PlaybackSpeed::FromCode(kSpeedOnlyKeyFrames)->KeyFramesOnly());
}

TEST(MediaTimeline, ReachesATimeExactlyWhenItSaysSo) {
    const MediaTimeline::TimePoint start{std::chrono::hours(5)};
    MediaTimeline timeline;
    timeline.Anchor(start, 1'700'000'000'000);
    for (const int code : {-4, -3, 0, 3, 7, 16}) {
        timeline.SetSpeed(*PlaybackSpeed::FromCode(code));
        for (const int ms : {1, 40, 999, 3'600'000}) {
            const auto when = timeline.When(timeline.AnchorMs() + ms);
            EXPECT_EQ(timeline.At(when), timeline.AnchorMs() + ms) << code;
            EXPECT_LT(timeline.At(when - std::chrono::nanoseconds(1)), timeline.AnchorMs() + ms);
        }
    }
    timeline.SetSpeed({1, 4});
    EXPECT_EQ(timeline.At(start + std::chrono::seconds(8)), timeline.AnchorMs() + 2000);
}

class PlaybackClockTest : public testing::Test {
protected:
    static constexpr int64_t kBegin = 10'000;
    static constexpr int64_t kEnd = 1'000'000;

    void SetUp() override { clock_.Load(kBegin, kEnd, kBegin, State::kRunning); }
    uint64_t Epoch() { return clock_.GetView().epoch; }
    Wake WaitUntil(const PlaybackClock::Member& member, int64_t ms, bool afterGap = false) {
        return clock_.WaitUntil(member, Epoch(), ms, afterGap, stop_);
    }

    PlaybackClock clock_;
    std::atomic<bool> stop_{false};
};

TEST_F(PlaybackClockTest, HoldsStillUntilEveryMemberHasFoundItsPlace) {
    const PlaybackClock::Member early(clock_);
    const PlaybackClock::Member late(clock_);
    const uint64_t epoch = Epoch();
    EXPECT_EQ(WaitUntil(early, kBegin), Wake::kDue) << "what leads up to the place is due at once";
    std::thread waits([&] { EXPECT_EQ(WaitUntil(early, kBegin + 5), Wake::kDue); });
    EXPECT_EQ(clock_.WaitUntil(late, epoch, kBegin + 2, false, stop_), Wake::kDue);
    waits.join();
    EXPECT_GE(clock_.GetView().positionMs, kBegin + 5);
}

TEST_F(PlaybackClockTest, RunsOnWithoutAMemberThatIsStuck) {
    const PlaybackClock::Member member(clock_);
    const PlaybackClock::Member stuck(clock_);
    EXPECT_EQ(WaitUntil(member, kBegin + 1), Wake::kDue);
}

TEST_F(PlaybackClockTest, JumpsWhenNobodyHasMedia) {
    const PlaybackClock::Member member(clock_);
    EXPECT_EQ(WaitUntil(member, 900'000, true), Wake::kDue);
    EXPECT_GE(clock_.GetView().positionMs, 900'000);
}

TEST_F(PlaybackClockTest, DoesNotJumpOverWhatAnotherMemberHas) {
    const PlaybackClock::Member playing(clock_);
    const PlaybackClock::Member idle(clock_);
    std::thread waits([&, epoch = Epoch()] {
        EXPECT_EQ(clock_.WaitUntil(idle, epoch, 900'000, true, stop_), Wake::kChanged);
    });
    EXPECT_EQ(WaitUntil(playing, kBegin + 20), Wake::kDue);
    EXPECT_LT(clock_.GetView().positionMs, 900'000);
    clock_.Seek(kBegin + 500);
    waits.join();
}

TEST_F(PlaybackClockTest, PausesAndStartsANewEpochForASeek) {
    const PlaybackClock::Member member(clock_);
    EXPECT_EQ(WaitUntil(member, kBegin + 5), Wake::kDue);
    clock_.Pause();
    const uint64_t epoch = Epoch();
    const int64_t position = clock_.GetView().positionMs;
    clock_.Seek(500'000);
    EXPECT_EQ(clock_.WaitUntil(member, epoch, kEnd, false, stop_), Wake::kChanged);
    EXPECT_EQ(WaitUntil(member, 500'000), Wake::kDue);
    EXPECT_EQ(clock_.GetView().positionMs, 500'000);
    EXPECT_LT(position, 500'000);
    clock_.Resume();
    EXPECT_EQ(WaitUntil(member, 500'001), Wake::kDue);
    clock_.Seek(0);
    EXPECT_EQ(clock_.GetView().positionMs, kBegin) << "moved into the range";
    clock_.Seek(kEnd + 1);
    EXPECT_EQ(clock_.GetView().positionMs, kEnd);
}

TEST_F(PlaybackClockTest, KeepsItsPlaceAcrossSpeedsAndLooksAgainAfterKeyPictures) {
    const PlaybackClock::Member member(clock_);
    const uint64_t epoch = Epoch();
    clock_.SetSpeed(*PlaybackSpeed::FromCode(16));
    EXPECT_EQ(Epoch(), epoch);
    EXPECT_EQ(WaitUntil(member, kBegin + 3000), Wake::kDue);
    clock_.SetSpeed(*PlaybackSpeed::FromCode(2));
    EXPECT_GT(Epoch(), epoch);
    EXPECT_GE(clock_.GetView().positionMs, kBegin + 3000);
}

TEST_F(PlaybackClockTest, StopsAndWakesWhoeverWaits) {
    const PlaybackClock::Member member(clock_);
    std::thread waits([this, &member] { EXPECT_EQ(WaitUntil(member, kEnd - 1), Wake::kStopped); });
    stop_ = true;
    clock_.Poke();
    waits.join();
    stop_ = false;
    const uint64_t epoch = Epoch();
    clock_.Stop();
    EXPECT_EQ(clock_.WaitUntil(member, epoch, kBegin, false, stop_), Wake::kChanged);
    EXPECT_EQ(clock_.GetView().state, State::kStopped);
    clock_.Resume();
    clock_.Seek(kBegin + 7);
    EXPECT_EQ(clock_.GetView().positionMs, kBegin);
}

TEST_F(PlaybackClockTest, SlipsBackToASlowPlayer) {
    const PlaybackClock::Member member(clock_);
    EXPECT_EQ(WaitUntil(member, kBegin + 60), Wake::kDue);
    clock_.Pause();
    clock_.SlipTo(Epoch(), kBegin + 10);
    EXPECT_EQ(clock_.GetView().positionMs, kBegin + 10);
    clock_.SlipTo(Epoch(), kBegin + 90);
    EXPECT_EQ(clock_.GetView().positionMs, kBegin + 10) << "never forward";
}

}  // namespace
}  // namespace vms::mediafile
