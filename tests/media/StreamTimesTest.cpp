// Times of a container: on and on, whatever the source does.
#include "media/mux/StreamTimes.h"

#include <gtest/gtest.h>

namespace {

using vms::StreamTimes;

TEST(StreamTimes, BeginAtNothingAndNeverGoBack) {
    StreamTimes times;
    EXPECT_EQ(times.OfPicture(4'000'000'000), 0);
    EXPECT_EQ(times.OfPicture(4'000'000'040), 40);
    EXPECT_EQ(times.OfPicture(4'000'000'040), 41);
    EXPECT_EQ(times.OfPicture(4'000'000'030), 42);
    EXPECT_EQ(times.OfPicture(4'000'000'080), 80);
}

TEST(StreamTimes, TimestampsWrap) {
    StreamTimes times;
    EXPECT_EQ(times.OfPicture(UINT32_MAX - 19), 0);
    EXPECT_EQ(times.OfPicture(20), 40);
    EXPECT_EQ(times.OfSound(20, 1024, 8000), 320);
}

TEST(StreamTimes, SoundStaysWithThePicturesAcrossAJump) {
    StreamTimes times;
    times.OfPicture(10'000);
    EXPECT_EQ(times.OfSound(10'000, 800, 8000), 0);
    times.OfPicture(10'100);
    EXPECT_EQ(times.OfSound(10'100, 800, 8000), 800);
    EXPECT_EQ(times.OfPicture(0), 140);                 // a new round
    EXPECT_EQ(times.OfSound(10'200, 800, 8000), 1600);  // of the old one
    EXPECT_EQ(times.OfPicture(100), 240);
    EXPECT_EQ(times.OfSound(100, 800, 8000), 2400);
    EXPECT_EQ(times.OfPicture(200'000'000), 280);  // hours without a recording
    EXPECT_EQ(times.OfSound(200'000'000, 800, 8000), std::nullopt);
    EXPECT_EQ(times.OfSound(200'000'100, 800, 8000), 3200);
}

TEST(StreamTimes, SamplesAreCountedUntilTheyStray) {
    StreamTimes times;
    times.OfPicture(0);
    EXPECT_EQ(times.OfSound(0, 1024, 16'000), 0);
    EXPECT_EQ(times.OfSound(70, 1024, 16'000), 1024);
    EXPECT_EQ(times.OfSound(500, 1024, 16'000), 8000);  // a gap
    EXPECT_EQ(times.OfSound(540, 1024, 16'000), 9024);
    EXPECT_EQ(times.OfSound(560, 1024, 16'000), 10'048);
    EXPECT_EQ(times.OfSound(500, 1024, 16'000), std::nullopt);  // that has been heard
    StreamTimes early;
    early.OfPicture(1000);
    EXPECT_EQ(early.OfSound(900, 1024, 16'000), std::nullopt);
}

}  // namespace
