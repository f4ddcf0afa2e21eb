#include "sim/httpdevice/media/Timeline.h"

#include <gtest/gtest.h>

namespace vms::sim::httpdevice {
namespace {

constexpr int64_t kDay = 86'400;
constexpr int64_t kMidnight = 1'700'006'400;

Timeline Make(int pieceSeconds) {
    Timeline::Plan plan;
    plan.until = kMidnight + 10 * 3600 + 1234;
    plan.days = 8;
    plan.pieceSeconds = pieceSeconds;
    return Timeline(plan);
}

size_t CountIn(const Timeline& timeline, int64_t start, int64_t end, int fileType = 0) {
    size_t total = 0;
    timeline.Search(start, end, fileType, 0, 0, total);
    return total;
}

TEST(Timeline, WindowTakesPiecesThatOverlapIt) {
    const Timeline timeline = Make(3600);
    EXPECT_EQ(CountIn(timeline, kMidnight + 3599, kMidnight + 3601), 2u);
    EXPECT_EQ(CountIn(timeline, kMidnight + 3600, kMidnight + 7200), 1u);
    EXPECT_EQ(CountIn(timeline, kMidnight + 7200, kMidnight + 14'400), 0u) << "quiet hours";
    EXPECT_EQ(CountIn(timeline, kMidnight, kMidnight + kDay), 8u) << "only whole pieces so far";
    EXPECT_EQ(CountIn(timeline, 100, 50), 0u);
}

TEST(Timeline, TypesPartitionThePieces) {
    const Timeline timeline = Make(60);
    const auto count = [&](int type) { return CountIn(timeline, 0, kMidnight + kDay, type); };
    EXPECT_EQ(count(1) + count(2) + count(16), count(0));
    EXPECT_EQ(count(2) + count(16), count(18));
    EXPECT_GT(count(2), 0u);
    EXPECT_GT(count(16), 0u);
}

TEST(Timeline, PagesFollowOneAnother) {
    const Timeline timeline = Make(60);
    size_t total = 0;
    const auto first = timeline.Search(0, kMidnight + kDay, 0, 0, 100, total);
    const auto second = timeline.Search(0, kMidnight + kDay, 0, 100, 100, total);
    ASSERT_EQ(first.size(), 100u);
    ASSERT_EQ(second.size(), 100u);
    EXPECT_GT(total, 4000u);
    EXPECT_EQ(second.front().start, first.back().end);
}

TEST(Timeline, SomeDaysAreEmptyButNeverTheLastTwo) {
    const Timeline timeline = Make(3600);
    int empty = 0;
    for (int back = 0; back < 8; ++back) {
        const int64_t day = kMidnight - back * kDay;
        if (CountIn(timeline, day, day + kDay) == 0) {
            ++empty;
            EXPECT_GE(back, 2);
        }
    }
    EXPECT_GE(empty, 1);
}

TEST(Timeline, NextRecordedSkipsGapsAndStopsAtTheEnd) {
    const Timeline timeline = Make(3600);
    const int64_t inside = (kMidnight + 100) * 1000 + 7;
    EXPECT_EQ(timeline.NextRecorded(inside, INT64_MAX / 2, 0), inside);
    const int64_t quiet = (kMidnight + 3 * 3600) * 1000;
    EXPECT_EQ(timeline.NextRecorded(quiet, INT64_MAX / 2, 0), (kMidnight + 4 * 3600) * 1000);
    EXPECT_EQ(timeline.NextRecorded(quiet, quiet + 1000, 0), std::nullopt);
    EXPECT_EQ(timeline.NextRecorded((kMidnight + kDay) * 1000, INT64_MAX / 2, 0), std::nullopt);
}

}  // namespace
}  // namespace vms::sim::httpdevice
