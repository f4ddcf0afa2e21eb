#include "tests/drivers/httpdevice/FamilyFixture.h"
#include "videodevice/FaceOnClose.h"
#include "videodevice/IFaceFrameServer.h"
#include "videodevice/IPreviewStreamServer.h"

namespace vms::httpdevice {
namespace {

class LiveTest : public FamilyFixture {
protected:
    std::unique_ptr<IPreviewStreamServer> MakePreview(IVideoDevice& device) {
        return std::unique_ptr<IPreviewStreamServer>(
            factory_.CreatePreviewServer(&device, -1, nullptr));
    }
    std::unique_ptr<IFaceFrameServer> MakeFaces(IVideoDevice& device) {
        return std::unique_ptr<IFaceFrameServer>(factory_.CreateFaceFrameServer(&device));
    }
};

bool HasVideoAndAudio(const UnitRecorder::Units& units) {
    bool has[2] = {false, false};
    for (const Unit& unit : units)
        has[unit.type & 1] = true;
    return has[0] && has[1] && units.size() > 60;
}

TEST_F(LiveTest, PreviewWithKeyFramesKept) {
    const HttpDevsim sim({"--https", "--codec", "h265", "--audio", "aac"});
    for (const bool https : {false, true}) {
        UnitRecorder sink;
        const auto device = Make(sim.Device(0, https));
        const auto preview = MakePreview(*device);
        ASSERT_NE(preview, nullptr);
        EXPECT_EQ(preview->GetTalkEncodeType(), 0x15);
        ASSERT_EQ(preview->StartPreview("live", 0, 0, &sink), 0);
        EXPECT_EQ(preview->StartPreview("again", 0, 0, &sink), -1);
        EXPECT_EQ(preview->GetStreamUri(), "live");
        ASSERT_TRUE(sink.WaitUnits(HasVideoAndAudio));
        EXPECT_FALSE(preview->GetCloseGetStreamStatus());
        preview->StopPreview("live");
        preview->RequestStopGetPreviewStream();
        EXPECT_TRUE(Eventually([&] { return preview->GetCloseGetStreamStatus(); }));
        const auto units = sink.All();
        EXPECT_TRUE(units.front().IsKey());
        EXPECT_EQ(units.front().videoCodec, 0x96U);
        ASSERT_FALSE(sink.KeyFrames().empty());
        EXPECT_EQ(sink.KeyFrames().front().payload, units.front().payload);
        EXPECT_TRUE(sink.Messages().empty());
    }
}

TEST_F(LiveTest, PromisesNoPictureOfAChannelThatIsNotThere) {
    const HttpDevsim sim({"--nvr", "1", "--channels", "2", "--platform", "V1"});
    UnitRecorder sink;
    const auto device = Make(sim.Device(0));
    const auto preview = MakePreview(*device);
    ASSERT_NE(preview, nullptr);
    for (const int channel : {-1, 2}) {
        EXPECT_EQ(preview->StartPreview("live", channel, 0, &sink), -1);
        EXPECT_THROW(preview->GetStreamUri(), std::runtime_error);
    }
    EXPECT_TRUE(preview->GetCloseGetStreamStatus());
    ASSERT_EQ(preview->StartPreview("live", 1, 0, &sink), 0);
    EXPECT_TRUE(sink.WaitCount(1));

    sim.SetFault(0, "wrongTypes@platform-capabilities");
    const auto secretive = Make(sim.Device(0));
    const auto blind = MakePreview(*secretive);
    ASSERT_NE(blind, nullptr);
    EXPECT_EQ(blind->StartPreview("blind", 1, 0, &sink), 0) << "it may be there";
}

TEST_F(LiveTest, AMuteDeviceSendsPicturesAlone) {
    const HttpDevsim sim({"--mute"});
    UnitRecorder sink;
    const auto device = Make(sim.Device(0));
    const auto preview = MakePreview(*device);
    ASSERT_NE(preview, nullptr);
    ASSERT_EQ(preview->StartPreview("live", 0, 0, &sink), 0);
    ASSERT_TRUE(sink.WaitCount(30));
    for (const Unit& unit : sink.All())
        EXPECT_TRUE(unit.IsVideo());
}

TEST_F(LiveTest, SurvivesMalformedFramesAndFloods) {
    const HttpDevsim sim({});
    for (const char* const fault :
         {"frame36", "frame37", "badHeader", "malformed", "hugeMessage", "flood"}) {
        SCOPED_TRACE(fault);
        sim.SetFault(0, fault);
        UnitRecorder sink;
        const auto device = Make(sim.Device(0));
        const auto preview = MakePreview(*device);
        ASSERT_NE(preview, nullptr);
        ASSERT_EQ(preview->StartPreview("live", 0, 1, &sink), 0);
        EXPECT_TRUE(
            Eventually([&] { return sink.Count() > 5 || preview->GetCloseGetStreamStatus(); }));
        for (const Unit& unit : sink.All())
            EXPECT_EQ(unit.key, "live");
        sim.ClearFaults(0);
    }
}

TEST_F(LiveTest, VanishesAndReturns) {
    const HttpDevsim sim({});
    const auto device = Make(sim.Device(0));
    UnitRecorder sink;
    const auto preview = MakePreview(*device);
    ASSERT_EQ(preview->StartPreview("live", 0, 0, &sink), 0);
    ASSERT_TRUE(sink.WaitCount(10));
    sim.SetFault(0, "refused");
    sim.Drop(0);
    EXPECT_TRUE(sink.WaitMessage("3"));
    EXPECT_TRUE(Eventually([&] { return preview->GetCloseGetStreamStatus(); }));
    EXPECT_EQ(MakePreview(*device), nullptr) << "down: no picture is promised";
    sim.ClearFaults(0);
    sim.Expire(0);
    UnitRecorder nextSink;
    std::unique_ptr<IPreviewStreamServer> next;  // ends before its sink
    ASSERT_TRUE(Eventually([&] { return (next = MakePreview(*device)) != nullptr; }));
    ASSERT_EQ(next->StartPreview("next", 0, 0, &nextSink), 0);
    EXPECT_TRUE(nextSink.WaitCount(10));
}

TEST_F(LiveTest, NoticesADeviceThatFallsSilent) {
    const HttpDevsim sim({"--fault", "0:wsStall=5"});
    const auto device = Make(sim.Device(0));
    UnitRecorder sink;
    const auto preview = MakePreview(*device);
    ASSERT_EQ(preview->StartPreview("live", 0, 0, &sink), 0);
    EXPECT_TRUE(sink.WaitMessage("3"));
}

TEST_F(LiveTest, MediaConnectionsHaveTheConnectTimeout) {
    const HttpDevsim sim({});
    HttpDeviceFactory patient;
    __tagTvStreamServerParam param;
    param.content = "connectTimeoutMs=60000";
    ASSERT_TRUE(patient.Init(&param));
    Init("connectTimeoutMs=500");
    __tagTvVideoParam description = sim.Device(0);
    const std::shared_ptr<IVideoDevice> device(patient.CreateDevice(&description));
    const auto hasty = Make(description);
    const std::unique_ptr<IPreviewStreamServer> longer(
        patient.CreatePreviewServer(device.get(), -1, nullptr));
    const std::unique_ptr<IPreviewStreamServer> shorter[] = {MakePreview(*hasty),
                                                             MakePreview(*hasty)};
    ASSERT_TRUE(longer && shorter[0] && shorter[1]);
    sim.SetFault(0, "wsSilent");
    UnitRecorder sink;
    ASSERT_EQ(longer->StartPreview("long", 0, 0, &sink), 0);
    for (const auto& preview : shorter) {
        ASSERT_EQ(preview->StartPreview("short", 0, 0, &sink), 0);
        EXPECT_TRUE(Eventually([&] { return preview->GetCloseGetStreamStatus(); }));
    }
    EXPECT_FALSE(longer->GetCloseGetStreamStatus()) << "the first to begin, the last to give up";
}

TEST_F(LiveTest, FacesRetryUntilTheyCome) {
    const HttpDevsim sim({"--face-interval-ms", "100", "--fault", "0:refused"});
    const auto device = Make(sim.Device(0));
    UnitRecorder sink;
    const auto faces = MakeFaces(*device);
    ASSERT_EQ(faces->StartFaceFrame("face", 0, &sink), 0);
    EXPECT_EQ(faces->StartFaceFrame("face", 0, &sink), -1);
    EXPECT_TRUE(faces->GetCloseGetStreamStatus());
    ASSERT_TRUE(Eventually([&] { return !Works(*device); }));
    sim.ClearFaults(0);
    ASSERT_TRUE(sink.WaitCount(2)) << "the device has come up";
    const Unit unit = sink.All().front();
    EXPECT_EQ(unit.type, 3U);
    EXPECT_EQ(unit.length, unit.payload.size());
    EXPECT_NE(unit.payload.find("faceId"), std::string::npos);
    sim.Drop(0);
    EXPECT_TRUE(sink.WaitMessage(g_faceOnClose));
}

TEST_F(LiveTest, StopsFromWithinTheSink) {
    const HttpDevsim sim({"--face-interval-ms", "50"});
    const auto device = Make(sim.Device(0));
    const auto preview = MakePreview(*device);
    const auto faces = MakeFaces(*device);
    UnitRecorder sink;
    sink.OnUnit([&](const Unit& unit) {
        if (unit.key == "live") {
            preview->StopPreview("live");
            preview->RequestStopGetPreviewStream();
        } else {
            faces->StopFaceFrame("face");
            faces->RequestStopGetPreviewStream();
        }
        return 0;
    });
    preview->StartPreview("live", 0, 0, &sink);
    faces->StartFaceFrame("face", 0, &sink);
    EXPECT_TRUE(sink.WaitUnits([](const UnitRecorder::Units& units) {
        return !units.empty() && units.front().key != units.back().key;
    }));
    EXPECT_TRUE(Eventually([&] { return preview->GetCloseGetStreamStatus(); }));
    EXPECT_TRUE(Eventually([&] { return faces->GetCloseGetStreamStatus(); }));
}

}  // namespace
}  // namespace vms::httpdevice
