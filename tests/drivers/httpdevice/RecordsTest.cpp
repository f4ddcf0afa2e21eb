#include "drivers/httpdevice/device/RecordSearch.h"
#include "tests/drivers/httpdevice/FamilyFixture.h"

namespace vms::httpdevice {
namespace {

class RecordsTest : public FamilyFixture {};

TEST_F(RecordsTest, FindsMoreThanOneAnswerHolds) {
    for (const bool recorder : {false, true}) {
        SCOPED_TRACE(recorder ? "NVR" : "IPC");
        const HttpDevsim sim({recorder ? "--nvr" : "--count", "1", "--days", "10",
                              "--piece-seconds", "60", "--recorded-until", std::to_string(kUntil)});
        const auto device = Make(sim.Device(0));
        __tagTvSearchRecordParam query;
        query.startTime = kUntil - 10 * kDay;
        std::list<__tagTvRecordFile> files;
        ASSERT_GE(device->SearchRecord(&query, &files), 0);
        EXPECT_GT(files.size(), 8000U);
        int index = 0;
        int last = 0;
        for (const __tagTvRecordFile& file : files) {
            ASSERT_EQ(file.index, index++);
            ASSERT_GE(file.startTime, last);
            ASSERT_EQ(file.endTime, file.startTime + 60);
            ASSERT_GT(file.fileSize, 0);
            last = file.endTime;
        }
        EXPECT_EQ(last, kUntil);
        query.channel = 99;
        EXPECT_LT(device->SearchRecord(&query, &files), 0);
    }
}

TEST_F(RecordsTest, FindsTypesRangesAndDays) {
    const HttpDevsim sim({"--nvr", "1", "--days", "3", "--recorded-until", std::to_string(kUntil)});
    const auto device = Make(sim.Device(0));
    __tagTvSearchRecordParam query;
    query.channel = 1;
    query.startTime = kUntil - kDay + kHour / 2;
    query.endTime = kUntil - kDay + kHour;
    std::list<__tagTvRecordFile> files;
    ASSERT_GE(device->SearchRecord(&query, &files), 0);
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(files.front().startTime, kUntil - kDay);
    query.fileType = files.front().fileType ^ 19;
    files.clear();
    ASSERT_GE(device->SearchRecord(&query, &files), 0);
    EXPECT_TRUE(files.empty());
    query.endTime = query.startTime;
    EXPECT_LT(device->SearchRecord(&query, &files), 0);

    __tagTvRecordDate date;
    std::list<int> days;
    EXPECT_EQ(device->QueryRecordDate(&date, &days), 0);
    EXPECT_EQ(days, (std::list<int>{20240502, 20240503}));
    date.channel = 65536;
    EXPECT_EQ(device->QueryRecordDate(&date, &days), -1);
}

TEST(RecordDaysTest, CutsRecordingsAtMidnightAndAtTheRange) {
    __tagTvRecordFile night;
    night.startTime = kUntil - kHour;
    night.endTime = kUntil + 1;
    EXPECT_EQ(DaysOf({night}, 0, 0), (std::set<int>{20240503, 20240504}));
    EXPECT_EQ(DaysOf({night}, 0, kUntil), (std::set<int>{20240503}));
    EXPECT_EQ(DaysOf({night}, kUntil, 0), (std::set<int>{20240504}));
    night.endTime = kUntil;
    EXPECT_EQ(DaysOf({night}, 0, 0), (std::set<int>{20240503}));
    std::swap(night.startTime, night.endTime);
    EXPECT_TRUE(DaysOf({night}, 0, 0).empty());
}

}  // namespace
}  // namespace vms::httpdevice
