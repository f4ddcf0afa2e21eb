#include "tests/drivers/httpdevice/FamilyFixture.h"
#include "videodevice/ITalkStreamServer.h"

namespace vms::httpdevice {
namespace {

class TalkTest : public FamilyFixture {
protected:
    std::unique_ptr<ITalkStreamServer> MakeTalk(IVideoDevice& device) {
        return std::unique_ptr<ITalkStreamServer>(factory_.CreateTalkServer(&device));
    }
};

TEST_F(TalkTest, ArrivesWholeAndInOrder) {
    const HttpDevsim sim({"--nvr", "1", "--channels", "2", "--audio", "mulaw"});
    const auto device = Make(sim.Device(0));
    ASSERT_TRUE(Works(*device));
    sim.Expire(0);  // found out when the talk begins
    const auto talk = MakeTalk(*device);
    EXPECT_EQ(talk->StartTalk(0, 7), -1);
    EXPECT_EQ(talk->StartTalk(0, 1), -1) << "the device takes mu-law";
    EXPECT_EQ(talk->StartTalk(2, 2), -1) << "no such channel";
    ASSERT_EQ(talk->StartTalk(1, 2), 0);
    EXPECT_EQ(talk->StartTalk(1, 2), -1);
    std::string said;
    for (char i = 0; i < 40; ++i) {
        const std::string frame(320, i);
        talk->SendTalkData(frame.data(), static_cast<int>(frame.size()));
        said += frame;
    }
    EXPECT_TRUE(Eventually([&] { return sim.Talk(0, 1) == said; }));
    talk->StopTalk();
    talk->SendTalkData("late", 4);
    EXPECT_EQ(sim.State(0)["talk"]["1"]["refused"].asInt(), 0);
    EXPECT_TRUE(Eventually([&] { return sim.State(0)["stats"]["open"].asInt() <= 3; }));
}

TEST_F(TalkTest, TheDeviceChoosesAndMayVanish) {
    const HttpDevsim sim({"--audio", "aac"});
    const auto device = Make(sim.Device(0));
    ASSERT_TRUE(Works(*device));
    const auto talk = MakeTalk(*device);
    ASSERT_EQ(talk->StartTalk(0, 0), 0);
    talk->SendTalkData("adts", 4);
    EXPECT_TRUE(Eventually([&] { return sim.Talk(0, 0) == "adts"; }));
    sim.SetFault(0, "refused");
    sim.Drop(0);
    EXPECT_TRUE(Eventually([&] { return !Works(*device); }));
    talk->SendTalkData("lost", 4);
    EXPECT_EQ(MakeTalk(*device)->StartTalk(0, 0), -1);
    EXPECT_EQ(factory_.CreateTalkServer(nullptr), nullptr);
}

}  // namespace
}  // namespace vms::httpdevice
