// What players over WebSocket may do, and how long.
#include "tests/host/server/HostServerFixture.h"

namespace {

using namespace vms::host::test;
using vms::host::Grant;
using vms::host::HttpAdmission;
using vms::host::HttpRequest;
using vms::host::ReadRole;

class RightsTest : public HostServerFixture {
protected:
    RightsTest() {
        gate_ = [this](const HttpRequest& head, const std::function<void(HttpAdmission)>& done) {
            HttpAdmission admission;
            admission.identity = {"somebody", ReadRole(head.query.at("role")).value(), grant_};
            done(admission);
        };
        Start();
    }

    const std::shared_ptr<Grant> grant_ = std::make_shared<Grant>();
};

TEST_F(RightsTest, AViewerWatchesAndDoesNotTalk) {
    TestPlayer viewer(Port(), 0, "/stream?role=viewer");
    EXPECT_EQ(viewer.Ask(TV_STREAM_TALK_START, "key", "1"), -1);
    EXPECT_EQ(viewer.Ask(TV_CMD_DEVICES_DEQUEUE, "key"), -1);
    ASSERT_TRUE(viewer.Send(TestPlayer::kBinary, "talk"));
    EXPECT_EQ(viewer.Ask(TV_STREAM_PLAYBACK_START, "key"), 0);
    const auto events = module_.All()[server_->Players().back().id];
    EXPECT_EQ(events, (FakeStreamModule::Events{"connect 127.0.0.1", "request 1049090 key "}));

    TestPlayer speaker(Port(), 0, "/stream?role=operator");
    EXPECT_EQ(speaker.Ask(TV_STREAM_TALK_START, "key", "1"), 0);
    ASSERT_TRUE(speaker.Send(TestPlayer::kBinary, "talk"));
    EXPECT_TRUE(module_.WaitFor("media", 1));
}

TEST_F(RightsTest, AStreamEndsWithTheRightToSeeIt) {
    TestPlayer player(Port(), 0, "/stream?role=viewer");
    EXPECT_EQ(player.Ask(TV_STREAM_PLAYBACK_START, "key"), 0);
    grant_->End();
    TestPlayer::Frame frame;
    ASSERT_TRUE(player.Next(frame));
    EXPECT_EQ(frame.opcode, TestPlayer::kClose);
    EXPECT_EQ(frame.payload.substr(2), "access has ended");
    // One that comes between the gate and its end, too.
    TestPlayer late(Port(), 0, "/stream?role=viewer");
    ASSERT_TRUE(late.Next(frame));
    EXPECT_EQ(frame.opcode, TestPlayer::kClose);
}

}  // namespace
