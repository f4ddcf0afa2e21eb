#include "tests/drivers/httpdevice/FamilyFixture.h"

#include <json/value.h>

#include <ctime>

#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

class CommandsTest : public FamilyFixture {
protected:
    void SetUp() override {
        FamilyFixture::SetUp();
        camera_ = Make(cameras_.Device(0));
        recorder_ = Make(recorders_.Device(0));
    }

    const HttpDevsim cameras_{{"--platform", "V1"}};
    const HttpDevsim recorders_{{"--nvr", "1", "--channels", "4"}};
    std::shared_ptr<IVideoDevice> camera_;
    std::shared_ptr<IVideoDevice> recorder_;
};

TEST_F(CommandsTest, CapabilitiesOfBothPlatforms) {
    __tagTvDeviceCapability old;
    ASSERT_EQ(camera_->GetCapability(&old), 0);
    EXPECT_EQ(old.version6_0, 0);
    EXPECT_EQ(old.supportThirdStream, 0);
    EXPECT_EQ(old.poeNum, -1);
    __tagTvDeviceCapability newer;
    ASSERT_EQ(recorder_->GetCapability(&newer), 0);
    EXPECT_EQ(newer.version6_0, 1);
    EXPECT_EQ(newer.supportThirdStream, 1);
    EXPECT_EQ(newer.supportTiming, 1);
    EXPECT_EQ(newer.supportSyncPlayback, 1);
    EXPECT_TRUE(recorder_->IsCanSeek());
    int width = 0;
    int height = 0;
    std::string codec;
    EXPECT_EQ(recorder_->PreparePlayback(1, 0, 1, 2, &width, &height, &codec), 0);
    EXPECT_EQ(codec, "H264");
    EXPECT_GT(width, height);
    EXPECT_EQ(recorder_->PreparePlayback(1, 9, 1, 2, &width, &height, &codec), -1) << "no stream";
    for (const int channel : {-1, 4})
        EXPECT_THROW(recorder_->PreparePlayback(channel, 0, 1, 2, &width, &height, &codec),
                     std::runtime_error);
    int type = 7;
    EXPECT_EQ(recorder_->GetConnectType(&type, &codec), 0);
    EXPECT_EQ(type, 0);
}

TEST_F(CommandsTest, TimeNamesAndRights) {
    Json::Value time;
    ASSERT_EQ(camera_->GetDeviceTime(&time), 0);
    EXPECT_TRUE(time["time"].isIntegral() && time["text"].isString());
    std::string ignored;
    EXPECT_EQ(camera_->Transmission("/api/system/system-time",
                                    R"({"action":"set","data":{"utcTime":1000}})", &ignored),
              0);
    ASSERT_EQ(camera_->GetDeviceTime(&time), 0);
    ASSERT_LT(time["time"].asInt64(), 1'000'000);
    EXPECT_EQ(camera_->DevTiming(), 0);
    ASSERT_EQ(camera_->GetDeviceTime(&time), 0);
    EXPECT_NEAR(time["time"].asDouble(), static_cast<double>(std::time(nullptr)), 60);

    EXPECT_EQ(recorder_->SetChannelName({{1, "Ga\"te"}, {3, "Hof"}}), 0);
    EXPECT_EQ(recorder_->SetChannelName({{4, "none"}}), -1);
    EXPECT_EQ(recorders_.State(0)["channels"][1]["name"], "Ga\"te");
    std::string body;
    ASSERT_EQ(recorder_->Transmission("channels", "", &body), 0);
    Json::Value channels;
    ASSERT_TRUE(ParseJson(body.c_str(), channels));
    EXPECT_EQ(channels["channels"].size(), 4U);
    EXPECT_EQ(channels["channels"][3]["name"], "Hof");

    for (const auto& device : {camera_, recorder_}) {
        Json::Value rights;
        ASSERT_EQ(device->GetDevicePermission(&body), 0);
        ASSERT_TRUE(ParseJson(body.c_str(), rights)) << body;
        EXPECT_EQ(rights["remote"].size(), 8U);
        EXPECT_EQ(rights["remote"][2], device == recorder_ ? 1 : 0) << "layouts differ there";
        EXPECT_EQ(rights["channels"].size(), device == recorder_ ? 4U : 1U);
        EXPECT_EQ(rights["channels"][0]["flag"].size(), 4U);
    }
}

TEST_F(CommandsTest, TransparentRequestsAndAlarms) {
    std::string body;
    EXPECT_EQ(recorder_->Transmission("/api/no/such", "{}", &body), -1);
    EXPECT_NE(body.find("error"), std::string::npos);
    EXPECT_EQ(recorder_->Transmission("http://elsewhere/", "{}", &body), -1);
    EXPECT_EQ(recorder_->Transmission("/api/system/system-time\r\nX: y", "{}", &body), -1);
    EXPECT_EQ(recorder_->Transmission("/api/system/capabilities", "", &body), 0);
    EXPECT_NE(body.find("2004"), std::string::npos) << "codes of the device are passed on";
    EXPECT_EQ(recorder_->Transmission("device", "", &body), 0);
    EXPECT_NE(body.find("serialNumber"), std::string::npos);
    for (const auto& [device, sim] : {std::pair{camera_, &cameras_}, {recorder_, &recorders_}}) {
        EXPECT_EQ(device->Transmission("manual-alarm", R"({"channel":0,"output":2,"active":true})",
                                       &body),
                  0);
        EXPECT_TRUE(sim->State(0)["channels"][0]["alarms"][2].asBool());
        EXPECT_EQ(device->Transmission("manual-alarm", R"({"channel":0})", &body), 0);
        EXPECT_NE(body.find("outputs"), std::string::npos);
    }
}

TEST_F(CommandsTest, MovesTheHead) {
    for (const auto& [device, sim] : {std::pair{camera_, &cameras_}, {recorder_, &recorders_}}) {
        const auto position = [sim = sim](const char* name) {
            return sim->State(0)["channels"][0]["position"][name].asInt();
        };
        __tagTvPtzParam move;
        move.turn = 4;
        move.is_press = 1;
        move.speed = 100;
        EXPECT_EQ(device->PtzControl(&move), 0);
        EXPECT_TRUE(Eventually([&] { return position("pan") > 0; }));
        __tagTvPtzParam zoom;
        zoom.opt = 1;
        zoom.is_add = zoom.is_press = 1;
        EXPECT_EQ(device->PtzControl(&zoom), 0);
        EXPECT_TRUE(Eventually([&] { return position("zoom") > 100; }));
        move.is_press = zoom.is_press = 0;
        EXPECT_EQ(device->PtzControl(&zoom), 0);
        EXPECT_EQ(device->PtzControl(&move), 0);
        move.is_press = 1;
        move.turn = 9;
        EXPECT_EQ(device->PtzControl(&move), -1);
        move.opt = 6;
        EXPECT_EQ(device->PtzControl(&move), -1);
        EXPECT_EQ(device->PtzSetSpeed(0, 33), 0);
        EXPECT_EQ(device->PtzGetSpeed(0), 33);
        EXPECT_EQ(device->PtzSetSpeed(0, 101), -1);
    }
    __tagTvPtzCapability ptz;
    ptz.supportPtz = 0;
    EXPECT_EQ(recorder_->PtzGetCapability(&ptz), 0);
    EXPECT_EQ(ptz.supportPtz, 1);
}

TEST_F(CommandsTest, PresetsAndCruises) {
    for (const auto& device : {camera_, recorder_}) {
        for (const int index : {3, 7}) {
            __tagTvPtzPresetParam preset;
            preset.presetIdx = index;
            preset.presetName = "p" + std::to_string(index);
            EXPECT_EQ(device->PtzAddPreset(0, &preset), 0);
        }
        int enable = 0;
        int status = 0;
        std::list<__tagTvPtzPresetParam> presets;
        ASSERT_EQ(device->PtzGetPreset(0, &enable, &status, &presets), 0);
        ASSERT_EQ(presets.size(), 2U);
        EXPECT_EQ(presets.back().presetName, "p7");
        EXPECT_EQ(device->PtzCallPreset(0, &presets.front()), 0);

        __tagTvPtzCruiseParam cruise;
        cruise.cruiseIdx = 5;
        cruise.enableCruise = 1;
        cruise.presets = presets;
        cruise.presets.front().presetDweelTime = 9;
        EXPECT_EQ(device->PtzAddCruise(0, &cruise), 0);
        __tagTvPtzCruiseParam found;
        ASSERT_EQ(device->PtzGetCruise(0, -1, &found), 0);
        EXPECT_EQ(found.cruiseIdx, 5);
        ASSERT_EQ(found.presets.size(), 2U);
        EXPECT_EQ(found.presets.front().presetDweelTime, 9);
        EXPECT_EQ(device->PtzStartCruise(0, 5), 0);
        EXPECT_EQ(device->PtzStopCruise(0, -1), 0) << "whichever runs";
        EXPECT_EQ(device->PtzStopCruise(0, -1), -1) << "none runs";
        EXPECT_EQ(device->PtzStartCruise(0, 6), -1);
        EXPECT_EQ(device->PtzDelCruise(0, 5), 0);
        EXPECT_EQ(device->PtzGetCruise(0, 5, &found), -1);
        EXPECT_EQ(device->PtzDelPreset(0, &presets.front()), 0);
        EXPECT_EQ(device->PtzCallPreset(0, &presets.front()), -1);
    }
}

class BadAnswersTest : public FamilyFixture {};

TEST_F(BadAnswersTest, FailTheCommandAndNothingElse) {
    Init("requestTimeoutMs=1000 maxProbeGapMs=100");
    const HttpDevsim sim({"--nvr", "1"});
    const auto device = Make(sim.Device(0));
    ASSERT_TRUE(Works(*device));
    for (const char* const fault :
         {"garbage", "truncatedJson", "wrongTypes", "emptyBody", "code", "http500", "dropBefore",
          "dropInside", "deepJson", "hugeBody=100", "silent", "slow", "sessionExpired"}) {
        SCOPED_TRACE(fault);
        sim.SetFault(0, fault);
        __tagTvSearchRecordParam search;
        std::list<__tagTvRecordFile> files;
        std::string body;
        Json::Value time;
        device->SearchRecord(&search, &files);
        EXPECT_TRUE(files.empty());
        device->GetDevicePermission(&body);
        device->GetDeviceTime(&time);
        device->IsCanSeek();
        EXPECT_LT(device->PtzGetSpeed(0), 0);
        const bool leavesCodes = std::string(fault) == "wrongTypes";
        EXPECT_EQ(device->PtzSetSpeed(0, 5) < 0, !leavesCodes);
        sim.ClearFaults(0);
        EXPECT_TRUE(Eventually([&] { return Works(*device); }));
    }
}

}  // namespace
}  // namespace vms::httpdevice
