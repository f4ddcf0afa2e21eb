// From a source to the players, and what idle streams come to.
#include <stdexcept>

#include "tests/videodevice/ModuleFixture.h"
#include "videodevice/FaceOnClose.h"

namespace vms::test {
namespace {

class MediaPath : public ModuleFixture {};

TEST_F(MediaPath, GoesToEveryPlayerAndDropsThoseThatAreGone) {
    const std::string key = Preview();
    for (const long long connection : {1, 2, 3, 1})
        Request(TV_STREAM_PREVIEW_START, connection, key);
    controller.Answer(1, -1);
    controller.Answer(3, 7);
    EXPECT_EQ(Deliver(key, "a"), -1);
    EXPECT_EQ(controller.Take(), (Calls{"1:a", "2:a", "3:a", "1:a"}));
    EXPECT_EQ(Deliver(key, "b"), 7);
    EXPECT_EQ(controller.Take(), (Calls{"2:b", "3:b"}));
    controller.OnSend([](long long connection) {
        if (connection == 2)
            throw std::runtime_error("the stream server gave up");
    });
    EXPECT_EQ(Deliver(key, "c"), 7);
    controller.OnSend(nullptr);
    controller.Take();
    Deliver(key, "d");
    EXPECT_EQ(controller.Take(), Calls{"3:d"});
}

TEST_F(MediaPath, UnknownKeysAndAMissingStreamServerAreNothingToDo) {
    const std::string key = Preview();
    EXPECT_EQ(Deliver("unknown", "a"), 0);
    EXPECT_EQ(Deliver("--2", "a"), 0);
    EXPECT_EQ(Deliver("", "a"), 0);
    EXPECT_EQ(module->QueryDataCountToSend(key), -1);
    Request(TV_STREAM_PREVIEW_START, 4, key);
    Request(TV_STREAM_PREVIEW_START, 5, key);
    EXPECT_EQ(module->QueryDataCountToSend(key), 40);
    EXPECT_EQ(module->QueryDataCountToSend("unknown"), -1);
    module->SetConnectionControl(nullptr);
    EXPECT_EQ(Deliver(key, "a"), 0);
    EXPECT_EQ(module->QueryDataCountToSend(key), -1);
    EXPECT_EQ(module->MsgCallback(key, "message"), 0);
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 6, key), 0);
}

TEST_F(MediaPath, AKeyFrameThatCannotBeSentLeavesThePlayerAttached) {
    const std::string key = Preview();
    KeyFrame(key, "K");
    controller.OnSend([](long long) { throw std::runtime_error("no memory"); });
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, key), 0);
    controller.OnSend(nullptr);
    controller.Take();
    Deliver(key, "a");
    EXPECT_EQ(controller.Take(), Calls{"1:a"});
}

TEST_F(MediaPath, AnIdleStreamSurvivesThreeSeconds) {
    const std::string key = Preview(R"({"id": "d", "face": 1})");
    KeyFrame(key, "K");
    TakeCalls();
    now += 3;
    Deliver(key, "a");
    EXPECT_EQ(TakeCalls(), Calls{});
    EXPECT_EQ(KeyFrameOf(key), Calls{"99:K"});
    now += 1;
    Deliver(key, "a");
    EXPECT_EQ(TakeCalls(), (Calls{"StopPreview " + key, "StopFaceFrame " + key}));
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, key), -1);
    Deliver(key, "a");
    EXPECT_EQ(TakeCalls(), Calls{});
    Tick();
    EXPECT_EQ(SourceState::alive, 0);
}

TEST_F(MediaPath, AWatchedStreamIsNeverIdleAndGraceStartsWithTheLastDelivery) {
    const std::string key = Preview();
    Request(TV_STREAM_PREVIEW_START, 1, key);
    now += 100;
    Deliver(key, "a");
    Request(TV_STREAM_PREVIEW_STOP, 1, key);
    now += 3;
    Deliver(key, "a");
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, key), 0);
}

TEST_F(MediaPath, KeyFramesAreForgottenWithTheirStream) {
    factory.uri = "k";
    Preview();
    KeyFrame("k", "K");
    Preview();  // nobody watches: replaced
    EXPECT_EQ(KeyFrameOf("k"), Calls{});
    Preview();
    now += 4;
    SourceState::mayClose = false;
    Deliver("k", "a");
    KeyFrame("k", "late");
    SourceState::mayClose = true;
    Tick();
    Preview();
    EXPECT_EQ(KeyFrameOf("k"), Calls{});
    // A stream in service keeps its own when an older one of the same key is destroyed.
    KeyFrame("k", "own");
    Tick();
    EXPECT_EQ(KeyFrameOf("k"), Calls{"99:own"});
    // A frame may come before the stream is known.
    KeyFrame("later", "early");
    factory.uri = "later";
    Preview(R"({"id": "d", "channel": 1})");
    EXPECT_EQ(KeyFrameOf("later"), Calls{"99:early"});
}

TEST_F(MediaPath, MessagesAreRelayed) {
    const std::string key = Preview();
    Request(TV_STREAM_PREVIEW_START, 1, key);
    Request(TV_STREAM_PREVIEW_START, 2, key);
    const std::string copy = g_faceOnClose;  // the same text, but not the constant
    module->MsgCallback(key, copy.c_str());
    module->MsgCallback(key, nullptr);
    module->MsgCallback("unknown", "lost");
    const auto commands = controller.TakeCommands();
    ASSERT_EQ(commands.size(), 4U);
    EXPECT_EQ(commands[0].source, "video-test");
    EXPECT_EQ(commands[0].deviceId, key);
    EXPECT_EQ(commands[0].body, "Face onclose");
    EXPECT_EQ(commands[0].serial & 0xffffffff, 0x100290);
    EXPECT_EQ(commands[1].session, "2");
    EXPECT_EQ(commands[2].body, "");
}

TEST_F(MediaPath, HostilePiecesAreDropped) {
    const std::string key = Preview();
    Request(TV_STREAM_PREVIEW_START, 1, key);
    module->UpdateKeyFrame(key, nullptr, 10);
    std::string frame = "K";
    module->UpdateKeyFrame(key, frame.data(), -1);
    EXPECT_EQ(KeyFrameOf(key), Calls{});
}

}  // namespace
}  // namespace vms::test
