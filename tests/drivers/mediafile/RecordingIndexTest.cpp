#include "media/recording/RecordingIndex.h"

#include <gtest/gtest.h>

#include "media/recording/RecordingName.h"
#include "tests/drivers/mediafile/SampleMedia.h"

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

}  // namespace
}  // namespace vms::mediafile
