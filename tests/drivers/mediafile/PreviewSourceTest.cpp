#include "drivers/mediafile/sources/PreviewSource.h"

#include <gtest/gtest.h>

#include "tests/drivers/mediafile/SampleMedia.h"
#include "tests/drivers/mediafile/UnitRecorder.h"

namespace vms::mediafile {
namespace {

class PreviewSourceTest : public testing::Test {
protected:
    std::unique_ptr<PreviewSource> Make(std::shared_ptr<const RecordingIndex> index) {
        return std::make_unique<PreviewSource>(std::move(index), registry_);
    }

    UnitRecorder sink_;
    std::shared_ptr<SourceRegistry> registry_ = std::make_shared<SourceRegistry>();
};

TEST_F(PreviewSourceTest, PlaysInRealTimeOverAndOver) {
    const TestFolder folder;
    folder.Copy("ch1/20240502T080000Z_schedule.mkv", "cam/20240502T080000Z_schedule.mkv");
    folder.Write("cam/20240502T081000Z_schedule.mkv", "garbage between the rounds");
    const auto source = Make(folder.Index());
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(source->StartPreview("live", 0, 0, &sink_), 0);
    EXPECT_EQ(source->StartPreview("again", 0, 0, &sink_), -1);
    EXPECT_EQ(source->GetStreamUri(), "live");
    EXPECT_EQ(source->GetTalkEncodeType(), 1);

    constexpr uint32_t kSecondRound = kSampleSeconds * 1000 + 1500;
    ASSERT_TRUE(sink_.WaitUnits(
        [](const auto& units) { return !units.empty() && units.back().timestamp > kSecondRound; }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(kSecondRound));
    source->StopPreview("live");

    uint32_t last[2] = {0, 0};
    uint32_t serial = 0;
    for (const Unit& unit : sink_.All()) {
        EXPECT_EQ(unit.key, "live");
        EXPECT_EQ(unit.serial, serial++);
        EXPECT_GE(unit.timestamp, last[unit.type]);
        EXPECT_LE(unit.timestamp, last[unit.type] + 200) << "no jump at the end of the file";
        last[unit.type] = unit.timestamp;
    }
    EXPECT_EQ(sink_.All().front().timestamp, 0U);
    EXPECT_TRUE(sink_.All().front().IsKey());
    const auto keys = sink_.KeyFrames();
    ASSERT_GE(keys.size(), static_cast<size_t>(kSampleSeconds));
    EXPECT_EQ(keys.front().payload, sink_.All().front().payload);
}

TEST_F(PreviewSourceTest, NeedsAChannelAndASink) {
    const auto unknown = Make(SampleIndex());
    EXPECT_EQ(unknown->StartPreview("k", 4, 0, &sink_), -1);
    EXPECT_THROW(unknown->GetStreamUri(), std::runtime_error) << "no key of a stream that is not";
    EXPECT_EQ(Make(SampleIndex())->StartPreview("k", 0, 0, nullptr), -1);
    const auto closed = Make(SampleIndex());
    closed->RequestStopGetPreviewStream();
    EXPECT_TRUE(closed->GetCloseGetStreamStatus());
    EXPECT_EQ(closed->StartPreview("k", 0, 0, &sink_), -1);
    EXPECT_THROW(closed->GetStreamUri(), std::runtime_error);
}

TEST_F(PreviewSourceTest, WaitsForMediaToCome) {
    const TestFolder folder;
    std::filesystem::create_directory(folder.Path() / "cam");
    const auto source = Make(folder.Index());
    ASSERT_EQ(source->StartPreview("k", 0, 0, &sink_), 0);
    folder.Copy("ch0/20240502T080000Z_schedule.mp4", "cam/20240502T080000Z_schedule.mp4");
    EXPECT_TRUE(sink_.WaitCount(3));
}

TEST_F(PreviewSourceTest, StopsWithoutWaitingForTheSink) {
    Mutex streamMutex;
    sink_.OnUnit([&streamMutex](const Unit&) {
        MutexLock lock(streamMutex);
        return 0;
    });
    const auto source = Make(SampleIndex());
    ASSERT_EQ(source->StartPreview("k", 0, 0, &sink_), 0);
    ASSERT_TRUE(sink_.WaitCount(1));
    {
        MutexLock lock(streamMutex);
        source->StopPreview("k");
        source->RequestStopGetPreviewStream();
        source->RequestStopGetPreviewStream();
    }
    ASSERT_TRUE(Eventually([&] { return source->GetCloseGetStreamStatus(); }));
    const size_t count = sink_.Count();
    EXPECT_EQ(source->StartPreview("k", 0, 0, &sink_), -1);
    EXPECT_EQ(sink_.Count(), count);
}

}  // namespace
}  // namespace vms::mediafile
