#include "media/recording/RecordingIndex.h"

#include <gtest/gtest.h>

#include <thread>

#include "media/recording/RecordingCursor.h"
#include "media/recording/RecordingName.h"
#include "tests/drivers/mediafile/SampleMedia.h"
#include "tests/drivers/mediafile/UnitRecorder.h"

namespace vms::mediafile {
namespace {

constexpr const char* kSample = "ch0/20240502T080000Z_schedule.mp4";

int64_t Ms(int seconds) {
    return int64_t{seconds} * 1000;
}

TEST(RecordingName, GivesTimeAndType) {
    const auto name = ParseRecordingName("20240502T083000Z_motion.mkv");
    ASSERT_TRUE(name);
    EXPECT_EQ(name->startMs, Ms(kDay2At830));
    EXPECT_EQ(name->fileType, 2);
    EXPECT_EQ(ParseRecordingName("20240229T235959Z_alarm.ts")->fileType, 16);
}

TEST(RecordingName, RefusesEverythingElse) {
    for (const char* name :
         {"", "x", "20240502T083000Z", "20240502T083000Z_.mp4", "20240502T083000Z_motion",
          "20240502T083000Z_motion.avi", "20240502T083000Z_Motion.mp4",
          "20240502 083000Z_motion.mp4", "20240502T083000_motion.mp4",
          "20230229T000000Z_motion.mp4", "20240502T243000Z_motion.mp4",
          "2024050aT083000Z_motion.mp4", ".part_20240502T083000Z_motion.mp4"})
        EXPECT_FALSE(ParseRecordingName(name)) << name;
}

TEST(RecordingIndex, FindsByRangeAndType) {
    const auto index = SampleIndex();
    ASSERT_EQ(index->Channels().size(), 4U);
    const RecordingList all = index->Find(0, 0, 0, 0);
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(all[0].startMs, Ms(kDay1At10));
    EXPECT_NEAR(static_cast<double>(all[0].endMs - all[0].startMs), Ms(kSampleSeconds), 100);
    EXPECT_EQ(index->Find(0, 0, 0, 2 | 16).size(), 2U);
    EXPECT_EQ(index->Find(0, 0, 0, 16).at(0).startMs, Ms(kDay2At9));
    // The end is exclusive, a part is enough at the beginning.
    EXPECT_EQ(index->Find(0, 0, Ms(kDay2At8), 0).size(), 1U);
    EXPECT_EQ(index->Find(0, Ms(kDay2At8 + 5), Ms(kDay2At830), 0).size(), 1U);
    EXPECT_TRUE(index->Find(0, Ms(kDay2At8 + 7), Ms(kDay2At830), 0).empty());
    EXPECT_TRUE(index->Find(4, 0, 0, 0).empty());
    EXPECT_TRUE(index->Find(-1, 0, 0, 0).empty());
}

TEST(RecordingIndex, ListsDaysAcrossMidnight) {
    const TestFolder folder;
    folder.Copy(kSample, "cam/20240502T235958Z_schedule.mp4");
    const auto index = folder.Index();
    EXPECT_EQ(index->Days(0, 0, 0, 19), (std::set<int>{20240502, 20240503}));
    EXPECT_EQ(index->Days(0, 0, 1714694400000, 19), (std::set<int>{20240502}));
    EXPECT_TRUE(index->Days(0, 0, 0, 2).empty());
    EXPECT_EQ(SampleIndex()->Days(0, 0, 0, 0), (std::set<int>{20240501, 20240502}));
}

TEST(RecordingIndex, OrdersChannelsNaturally) {
    const TestFolder folder;
    for (const char* name : {"ch10", "ch2", "ch1", "talk", ".hidden"})
        std::filesystem::create_directory(folder.Path() / name);
    const auto channels = folder.Index()->Channels();
    ASSERT_EQ(channels.size(), 3U);
    EXPECT_EQ(channels[1].filename(), "ch2");
    EXPECT_EQ(channels[2].filename(), "ch10");
}

TEST(RecordingIndex, TakesAFolderOfFilesForOneChannel) {
    const TestFolder folder;
    folder.Copy(kSample, "20240502T080000Z_schedule.mp4");
    EXPECT_EQ(folder.Index()->Find(0, 0, 0, 0).size(), 1U);
    const RecordingIndex missing(folder.Path() / "missing", std::make_shared<DurationIndex>(),
                                 std::make_shared<const ContentRoots>(folder.Path()));
    EXPECT_TRUE(missing.Channels().empty());
    EXPECT_FALSE(missing.HasChannel(0));
}

TEST(RecordingIndex, PassesOverWhatIsNoRecording) {
    const TestFolder folder;
    const std::string good = ReadBytes(folder.Copy(kSample, "ch/20240502T080000Z_schedule.mp4"));
    folder.Write("ch/20240502T090000Z_schedule.mp4", "");
    folder.Write("ch/20240502T091000Z_schedule.mkv", std::string(5000, 'x'));
    folder.Write("ch/20240502T092000Z_schedule.mp4", good.substr(0, good.size() / 2));
    folder.Write("ch/20240502T093000Z_schedule.ts", "ffconcat version 1.0\nfile /etc/passwd\n");
    std::filesystem::create_directory(folder.Path() / "ch/20240502T094000Z_schedule.mp4");
    const auto index = folder.Index();
    ASSERT_EQ(index->Find(0, 0, 0, 0).size(), 1U);
    // A file that has been completed since is seen.
    folder.Write("ch/20240502T092000Z_schedule.mp4", good);
    EXPECT_EQ(index->Find(0, 0, 0, 0).size(), 2U);
}

/// A channel of many recordings, all of them one sample, ten minutes apart.
class ManyRecordings : public testing::Test {
protected:
    static constexpr int kCount = 60;
    static constexpr int kStep = 600;

    void SetUp() override {
        durations_->CloseUntil(DurationIndex::Clock::now());
        const auto first = folder_.Copy(kSample, "ch/" + Name(0));
        for (int i = 1; i < kCount; ++i)
            std::filesystem::create_hard_link(first, folder_.Path() / "ch" / Name(i));
    }
    static int64_t Start(int number) { return Ms(kDay1At10 + number * kStep); }
    static std::string Name(int number) { return TimeText(Start(number)) + "_schedule.mp4"; }
    bool AllExact() const {
        const RecordingList all = index_.Find(0, 0, 0, 0);
        return std::all_of(all.begin(), all.end(), [](const Recording& r) { return r.exact; });
    }

    const TestFolder folder_;
    const std::shared_ptr<DurationIndex> durations_ = std::make_shared<DurationIndex>();
    const RecordingIndex index_{folder_.Path(), durations_,
                                std::make_shared<const ContentRoots>(folder_.Path())};
};

TEST_F(ManyRecordings, AreFoundByNamesUntilTheyHaveBeenLookedInto) {
    folder_.Write("ch/" + TimeText(Start(10) + 1000) + "_alarm.mp4", "no video");
    const RecordingList named = index_.Find(0, 0, 0, 0);
    ASSERT_EQ(named.size(), kCount + 1U);
    EXPECT_FALSE(named[0].exact);
    EXPECT_EQ(named[0].endMs, Start(1)) << "the next recording's start";
    EXPECT_EQ(named[10].endMs, Start(10) + 1000);
    EXPECT_EQ(named[kCount].endMs, Start(kCount - 1) + Ms(3600)) << "an hour at most";
    EXPECT_GT(named[0].size, 100'000);
    EXPECT_EQ(index_.Find(0, Start(5) + 1, Start(7), 0).size(), 2U);

    durations_->Open();
    ASSERT_TRUE(Eventually([&] { return AllExact(); }));
    const RecordingList exact = index_.Find(0, 0, 0, 0);
    ASSERT_EQ(exact.size(), kCount + 0U) << "without what is no video";
    EXPECT_LT(exact[0].endMs, Start(0) + Ms(kSampleSeconds + 1));
    EXPECT_EQ(index_.Find(0, Start(5) + Ms(kSampleSeconds + 1), Start(7), 0).size(), 1U);
    // Still known once nobody looks into files any more; new files are not.
    durations_->CloseUntil(DurationIndex::Clock::now() + std::chrono::minutes(1));
    folder_.Copy(kSample, "ch/" + Name(kCount));
    const RecordingList later = index_.Find(0, 0, 0, 0);
    ASSERT_EQ(later.size(), kCount + 1U);
    EXPECT_TRUE(later[kCount - 1].exact);
    EXPECT_FALSE(later[kCount].exact);
}

TEST_F(ManyRecordings, AreLookedIntoWhereARangeNeedsIt) {
    durations_->Open();
    const int64_t place = Start(50) + Ms(kSampleSeconds + 1);
    const RecordingList found = index_.Find(0, place, 0, 0);
    ASSERT_EQ(found.size(), 9U) << "the fiftieth is over by then";
    EXPECT_TRUE(
        std::all_of(found.begin(), found.end(), [](const Recording& r) { return r.exact; }));

    const RecordingIndex fresh(folder_.Path(), std::make_shared<DurationIndex>(),
                               std::make_shared<const ContentRoots>(folder_.Path()));
    ASSERT_EQ(fresh.FindToPlay(0, place, 0, 0).size(), 9U);
}

TEST_F(ManyRecordings, HaveDaysByTheirNames) {
    EXPECT_EQ(index_.Days(0, 0, 0, 0), (std::set<int>{20240501}));
    std::filesystem::rename(folder_.Path() / "ch" / Name(1),
                            folder_.Path() / "ch/20240502T233000Z_motion.mp4");
    folder_.Write("ch/20240504T000000Z_motion.mp4", "no video");
    EXPECT_EQ(index_.Days(0, 0, 0, 0), (std::set<int>{20240501, 20240502, 20240503, 20240504}));
    durations_->Open();
    EXPECT_TRUE(Eventually([&] {
        return index_.Days(0, 0, 0, 0) == std::set<int>{20240501, 20240502};
    })) << "a search of days is enough for the files to be looked into";
}

TEST_F(ManyRecordings, PlayAsLongAsTheyAre) {
    // By its name the first one lasts to the next, in truth it is over.
    const std::atomic<bool> stop{false};
    const int64_t place = Start(0) + Ms(kSampleSeconds + 1);
    const RecordingList named = index_.FindToPlay(0, place, 0, 0);
    ASSERT_EQ(named.size(), kCount + 0U);
    MediaPacket packet;
    bool afterGap = false;
    RecordingCursor beyond(named, place, stop);
    ASSERT_TRUE(beyond.Next(packet, afterGap));
    EXPECT_EQ(packet.timeMs, Start(1));
    RecordingCursor within(named, Start(0) + 3500, stop);
    ASSERT_TRUE(within.Next(packet, afterGap));
    EXPECT_EQ(packet.timeMs, Start(0) + 3000);

    // Nor does one end where its name lets expect it.
    Recording shortened = named[0];
    shortened.endMs = shortened.startMs;
    RecordingCursor whole({shortened}, Start(0), stop);
    int64_t last = 0;
    while (whole.Next(packet, afterGap))
        last = std::max(last, packet.timeMs);
    EXPECT_GT(last, Start(0) + 5500);
}

TEST_F(ManyRecordings, MayBeSearchedByManyWhileFilesComeAndGo) {
    durations_->Open();
    std::vector<std::thread> searches;
    for (int i = 0; i < 4; ++i) {
        searches.emplace_back([this, i] {
            for (int round = 0; round < 20; ++round) {
                const int64_t begin = i % 2 == 0 ? 0 : Start(kCount / 2) + 1;
                const RecordingList found =
                    i < 2 ? index_.Find(0, begin, 0, 0) : index_.FindToPlay(0, begin, 0, 0);
                EXPECT_GE(found.size(), kCount / 2 - 1U);
                EXPECT_TRUE(std::is_sorted(found.begin(), found.end(),
                                           [](const Recording& left, const Recording& right) {
                                               return left.startMs < right.startMs;
                                           }));
                index_.Days(0, 0, 0, 0);
            }
        });
    }
    for (int i = 0; i < kCount / 2; ++i)
        std::filesystem::rename(folder_.Path() / "ch" / Name(i),
                                folder_.Path() / "ch" / Name(kCount + i));
    for (std::thread& search : searches)
        search.join();
    EXPECT_TRUE(Eventually([&] { return AllExact(); }));
    EXPECT_EQ(index_.Find(0, 0, 0, 0).size(), kCount + 0U);
}

}  // namespace
}  // namespace vms::mediafile
