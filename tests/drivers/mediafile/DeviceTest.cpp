#include <gtest/gtest.h>
#include <json/value.h>

#include "drivers/mediafile/MediaFileFactory.h"
#include "drivers/mediafile/device/MediaFileDevice.h"
#include "platform/Json.h"
#include "tests/drivers/mediafile/SampleMedia.h"
#include "tests/drivers/mediafile/UnitRecorder.h"
#include "videodevice/IFaceFrameServer.h"
#include "videodevice/IPlaybackStreamServer.h"
#include "videodevice/IPreviewStreamServer.h"
#include "videodevice/ISyncPlaybackServer.h"
#include "videodevice/ITalkStreamServer.h"

namespace vms::mediafile {
namespace {

Json::Value Parse(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text.c_str(), value)) << text;
    return value;
}

class DeviceTest : public testing::Test {
protected:
    MediaFileDevice device_{SampleIndex()};
};

TEST_F(DeviceTest, SearchesRecords) {
    __tagTvSearchRecordParam param;
    param.fileType = 1 | 2;
    param.startTime = kDay2At8;
    param.endTime = kDay2At9 + 60;
    std::list<__tagTvRecordFile> files;
    EXPECT_GE(device_.SearchRecord(&param, &files), 0);
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files.back().index, 1);
    EXPECT_EQ(files.back().fileType, 2);
    EXPECT_EQ(files.back().startTime, kDay2At830);
    EXPECT_NEAR(files.back().endTime, kDay2At830 + kSampleSeconds, 1);
    EXPECT_GT(files.back().fileSize, 100'000);
    param.endTime = param.startTime;
    EXPECT_LT(device_.SearchRecord(&param, &files), 0);
    param.endTime = 0;
    param.channel = -1;
    EXPECT_LT(device_.SearchRecord(&param, &files), 0);

    __tagTvRecordDate date;
    std::list<int> days;
    EXPECT_EQ(device_.QueryRecordDate(&date, &days), 0);
    EXPECT_EQ(days, (std::list<int>{20240501, 20240502}));
    date.channel = 4;
    EXPECT_NE(device_.QueryRecordDate(&date, &days), 0);

    int a = 1;
    int b = 1;
    std::string text = "x";
    EXPECT_EQ(device_.PreparePlayback(0, 0, kDay2At8, kDay2At9, &a, &b, &text), 0);
    EXPECT_EQ(a + b, 0);
    EXPECT_EQ(device_.PreparePlayback(0, 0, kDay2At9 + 600, kDay2At9 + 700, &a, &b, &text), -1);
}

TEST_F(DeviceTest, TellsAboutItself) {
    __tagTvDeviceCapability capability;
    EXPECT_EQ(device_.GetCapability(&capability), 0);
    EXPECT_EQ(capability.supportSyncPlayback, 1);
    EXPECT_EQ(capability.supportTiming, 1);
    EXPECT_EQ(capability.poeNum, -1);
    int type = -7;
    std::string text;
    device_.GetConnectType(&type, &text);
    EXPECT_EQ(type, 0);
    EXPECT_EQ(device_.GetDevSessionId().size(), 36U);
    Json::Value time;
    device_.GetDeviceTime(&time);
    EXPECT_NEAR(static_cast<double>(time["time"].asInt64()),
                static_cast<double>(std::time(nullptr)), 60);
    std::string body;
    device_.GetDevicePermission(&body);
    const Json::Value permission = Parse(body);
    EXPECT_EQ(permission["remote"].size(), 8U);
    ASSERT_EQ(permission["channels"].size(), 4U);
    EXPECT_EQ(permission["channels"][3]["channel"].asInt(), 3);
    EXPECT_EQ(permission["channels"][3]["flag"].size(), 4U);
}

TEST_F(DeviceTest, AnswersRequestsAndRenamesChannels) {
    EXPECT_GE(device_.SetChannelName({{1, "Yard"}}), 0);
    EXPECT_LT(device_.SetChannelName({{0, "x"}, {4, "y"}}), 0);
    EXPECT_GE(device_.SetChannelName({{2, "Gate"}}), 0);
    std::string body;
    EXPECT_EQ(device_.Transmission("channels", "", &body), 0);
    const Json::Value channels = Parse(body)["channels"];
    EXPECT_EQ(channels[0]["name"].asString(), "ch0");
    EXPECT_EQ(channels[1]["name"].asString(), "Yard");
    EXPECT_EQ(channels[2]["name"].asString(), "Gate");
    EXPECT_EQ(device_.Transmission("device", "", &body), 0);
    EXPECT_EQ(Parse(body)["channelnum"].asInt(), 4);
    EXPECT_LT(device_.Transmission("format-disk", "", &body), 0);
    EXPECT_TRUE(Parse(body).isMember("error"));
}

TEST_F(DeviceTest, HasAHeadForEveryChannel) {
    EXPECT_GE(device_.PtzSetSpeed(3, 7), 0);
    EXPECT_EQ(device_.PtzGetSpeed(3), 7);
    EXPECT_NE(device_.PtzGetSpeed(2), 7);
    EXPECT_LT(device_.PtzGetSpeed(4), 0);
    __tagTvPtzParam param;
    param.channel = 9;
    EXPECT_LT(device_.PtzControl(&param), 0);
    __tagTvPtzPresetParam preset;
    EXPECT_GE(device_.PtzAddPreset(3, &preset), 0);
    int enable = 5;
    int status = 5;
    std::list<__tagTvPtzPresetParam> presets;
    EXPECT_GE(device_.PtzGetPreset(3, &enable, &status, &presets), 0);
    EXPECT_EQ(presets.size(), 1U);
    EXPECT_EQ(enable + status, 0);
    EXPECT_LT(device_.PtzStartCruise(3, -1), 0);
    std::string body;
    EXPECT_EQ(device_.Transmission("ptz/position", R"({"channel": 3})", &body), 0);
    EXPECT_EQ(Parse(body)["zoom"].asDouble(), 1);
    EXPECT_LT(device_.Transmission("ptz/position", R"({"channel": 4})", &body), 0);
}

class FactoryTest : public testing::Test {
protected:
    void SetUp() override {
        param_.content = SampleFolder().parent_path();
        ASSERT_TRUE(factory_.Init(&param_));
        description_.id = SampleFolder().filename();
        device_.reset(factory_.CreateDevice(&description_));
        ASSERT_NE(device_, nullptr);
    }

    UnitRecorder sink_;
    __tagTvStreamServerParam param_;
    __tagTvVideoParam description_;
    MediaFileFactory factory_;
    std::unique_ptr<IVideoDevice> device_;
};

TEST_F(FactoryTest, TestsDevices) {
    __tagTvSearchDeviceParam info;
    EXPECT_TRUE(factory_.DeviceTest(&description_, &info));
    EXPECT_EQ(info.channelnum, 4);
    EXPECT_EQ(info.name, "media");
    EXPECT_FALSE(info.ver.empty());
    description_.id = "missing";
    EXPECT_FALSE(factory_.DeviceTest(&description_, &info));
    const std::unique_ptr<IVideoDevice> missing(factory_.CreateDevice(&description_));
    __tagTvSearchRecordParam search;
    std::list<__tagTvRecordFile> files;
    EXPECT_LT(missing->SearchRecord(&search, &files), 0);
}

TEST_F(FactoryTest, MakesSourcesForItsOwnDevicesOnly) {
    EXPECT_EQ(factory_.CreateFaceFrameServer(nullptr), nullptr);
    EXPECT_EQ(factory_.CreateTalkServer(nullptr), nullptr);
    EXPECT_EQ(factory_.CreateSyncPlaybackChannelServer(device_.get(), 0, "no such token"), nullptr);
    int speedOnlyI = -1;
    const std::unique_ptr<IPlaybackStreamServer> playback(
        factory_.CreatePlaybackServer(device_.get(), &speedOnlyI, -1));
    EXPECT_NE(playback, nullptr);
    EXPECT_EQ(speedOnlyI, 5);
    const std::unique_ptr<ITalkStreamServer> talk(factory_.CreateTalkServer(device_.get()));
    EXPECT_NE(talk, nullptr);
    const std::unique_ptr<ISyncPlaybackServer> session(
        factory_.CreateSyncPlaybackServer(device_.get()));
    ASSERT_NE(session, nullptr);
    ASSERT_EQ(session->Create("id", kDay2At8, kDay2At9, 0, 0, 0, 0, &sink_), 0);
    const std::unique_ptr<IPlaybackStreamServer> channel(
        factory_.CreateSyncPlaybackChannelServer(device_.get(), 0, session->GetToken()));
    EXPECT_NE(channel, nullptr);
}

TEST_F(FactoryTest, MakesNoSourceOfWhatIsNotThere) {
    description_.id = "missing";
    const std::unique_ptr<IVideoDevice> missing(factory_.CreateDevice(&description_));
    int speedOnlyI = -1;
    EXPECT_EQ(factory_.CreatePreviewServer(missing.get(), 0, nullptr), nullptr);
    EXPECT_EQ(factory_.CreatePlaybackServer(missing.get(), &speedOnlyI, -1), nullptr);
    EXPECT_EQ(factory_.CreateDownloadServer(missing.get(), 0), nullptr);
    EXPECT_EQ(factory_.CreateSyncPlaybackServer(missing.get()), nullptr);

    const std::unique_ptr<ISyncPlaybackServer> session(
        factory_.CreateSyncPlaybackServer(device_.get()));
    ASSERT_EQ(session->Create("id", kDay2At8, kDay2At9, 0, 0, 0, 0, &sink_), 0);
    for (const int channel : {-1, 4})
        EXPECT_EQ(
            factory_.CreateSyncPlaybackChannelServer(device_.get(), channel, session->GetToken()),
            nullptr);

    const std::unique_ptr<IPlaybackStreamServer> recorded(
        factory_.CreateDownloadServer(device_.get(), 0));
    EXPECT_THROW(recorded->StartDownload("k", 4, kDay2At8, kDay2At9, &sink_), std::runtime_error);
    EXPECT_THROW(recorded->StartPlayback("k", 4, kDay2At8, kDay2At9, 0, 0, 0, &sink_, true),
                 std::runtime_error);
    EXPECT_TRUE(recorded->GetCloseGetStreamStatus());
    recorded->StartPlayback("k", 3, kDay2At8, kDay2At9, 0, 0, 0, &sink_, true);
    EXPECT_TRUE(sink_.WaitCount(1)) << "another channel of the same stream";
}

TEST_F(FactoryTest, EndsEverySourceWithTheModule) {
    int speedOnlyI = -1;
    const std::unique_ptr<IPreviewStreamServer> preview(
        factory_.CreatePreviewServer(device_.get(), 0, nullptr));
    const std::unique_ptr<IPlaybackStreamServer> playback(
        factory_.CreatePlaybackServer(device_.get(), &speedOnlyI, -1));
    // Sources outlive their device.
    device_.reset();
    ASSERT_EQ(preview->StartPreview("a", 0, 0, &sink_), 0);
    playback->StartPlayback("b", 0, kDay2At8, kDay2At9, 0, 0, 0, &sink_, true);
    ASSERT_TRUE(sink_.WaitUnits([](const UnitRecorder::Units& units) {
        return units.size() > 10 && units.front().key != units.back().key;
    }));
    EXPECT_EQ(factory_.UnInit(), 0);
    const size_t count = sink_.Count();
    EXPECT_TRUE(preview->GetCloseGetStreamStatus());
    EXPECT_TRUE(playback->GetCloseGetStreamStatus());
    device_.reset(factory_.CreateDevice(&description_));
    const std::unique_ptr<IPreviewStreamServer> late(
        factory_.CreatePreviewServer(device_.get(), 0, nullptr));
    EXPECT_EQ(late->StartPreview("c", 0, 0, &sink_), -1);
    EXPECT_EQ(sink_.Count(), count);
}

}  // namespace
}  // namespace vms::mediafile
