// What players may ask for over their connections.
#include "tests/videodevice/ModuleFixture.h"

namespace vms::test {
namespace {

class PlayerRequest : public ModuleFixture {
protected:
    /// A recorded stream under the key "k".
    void MakePlayback() {
        factory.uri = "k";
        ASSERT_EQ(UrlOf(TV_CMD_GET_PLAYBACK_URL), "k");
        TakeCalls();
    }
};

TEST_F(PlayerRequest, EachIsLoggedAndUnknownStreamsAreRefused) {
    const char* const lines[] = {"client Preview start..........",
                                 "client Preview stop..........",
                                 "client playback start..........",
                                 "client playback(record download) stop..........",
                                 "client playback pause..........",
                                 "client playback resume..........",
                                 "client playback speed..........",
                                 "client playback seek..........",
                                 "client start talk..........",
                                 "client stop talk..........",
                                 "client record download start..........",
                                 "client playback(record download) stop.........."};
    LogProbe log;
    module->SetCallback(&log);
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(Request(0x100200 + i, 1, "unknown"), -1);
        EXPECT_EQ(log.Take(), Calls{std::string("1 OnRecv ") + lines[i]});
    }
    EXPECT_EQ(Request(0x10020c, 1, "unknown"), -1);
    EXPECT_EQ(Request(0x1001ff, 1, "unknown"), -1);
    EXPECT_EQ(module->OnRecv(1, nullptr, 0), -1);
    EXPECT_EQ(log.Take(), Calls{});
    EXPECT_EQ(controller.Take(), Calls{});
    module->SetCallback(nullptr);
}

TEST_F(PlayerRequest, APreviewStartsWithTheLatestKeyFrame) {
    const std::string key = Preview();
    KeyFrame(key, "old");
    KeyFrame(key, std::string("K\0y", 3));
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, key), 0);
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, key), 0);
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 2, key), 0);
    const std::string frame("K\0y", 3);
    EXPECT_EQ(controller.Take(), (Calls{"1:" + frame, "1:" + frame, "2:" + frame}));
    Deliver(key, "u");
    EXPECT_EQ(controller.Take(), (Calls{"1:u", "1:u", "2:u"}));
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_STOP, 1, key), 0);  // takes both
    Deliver(key, "v");
    EXPECT_EQ(controller.Take(), Calls{"2:v"});
}

TEST_F(PlayerRequest, NoUnitOvertakesTheKeyFrame) {
    const std::string key = Preview();
    KeyFrame(key, "K1");
    controller.OnSend([&](long long) {
        controller.OnSend(nullptr);
        // The source goes on while the first frame is being sent.
        KeyFrame(key, "K2");
        Deliver(key, "K2");
    });
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, key), 0);
    Deliver(key, "u");
    EXPECT_EQ(controller.Take(), (Calls{"1:K1", "1:K2", "1:u"}));
}

TEST_F(PlayerRequest, ASourceThatMakesKeyFramesFasterThanTheyAreSentDoesNotHang) {
    const std::string key = Preview();
    KeyFrame(key, "K");
    controller.OnSend([&](long long) { KeyFrame(key, "K"); });
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, key), 0);
    controller.OnSend(nullptr);
    controller.Take();
    Deliver(key, "u");
    EXPECT_EQ(controller.Take(), Calls{"1:u"});
}

TEST_F(PlayerRequest, PlaybackServesOnePlayerAndKnowsItsFirstStart) {
    MakePlayback();
    const char* const range =
        R"({"channel": 1, "beginTime": 10, "endTime": 20, "streamNo": 2, "recordType": 3,
            "seekTime": 4})";
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_START, 1, "k", range), 0);
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_START, 2, "k", range), 0);
    EXPECT_EQ(TakeCalls(),
              (Calls{"StartPlayback k 1 10 20 2 3 4 1", "StartPlayback k 1 10 20 2 3 4 0"}));
    Deliver("k", "u");
    EXPECT_EQ(controller.Take(), Calls{"2:u (playback)"});
    // Refused, and attached all the same.
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_START, 3, "k", R"({"beginTime": 10})"), -1);
    EXPECT_EQ(TakeCalls(), Calls{});
    Deliver("k", "v");
    EXPECT_EQ(controller.Take(), Calls{"3:v (playback)"});
}

TEST_F(PlayerRequest, ControlOfRecordedStreams) {
    MakePlayback();
    EXPECT_EQ(Request(TV_STREAM_DOWNLOAD_START, 1, "k", R"({"channel": 1, "beginTime": 1,
                                                            "endTime": 2})"),
              0);
    EXPECT_EQ(Request(TV_STREAM_DOWNLOAD_START, 1, "k", R"({"endTime": 2})"), -1);
    for (const char* operation : {"Pause", "Resume", "SetSpeed", "Seek"})
        factory.script.Result(operation, -1);  // not looked at
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_PAUSE, 1, "k"), 0);
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_RESUME, 1, "k"), 0);
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_SPEED, 1, "k", "-4x"), 0);
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_SPEED, 1, "k", "99999999999999999999"), 0);
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_SEEK, 1, "k", "none"), 0);
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_STOP, 1, "k"), 0);
    EXPECT_EQ(Request(TV_STREAM_DOWNLOAD_STOP, 1, "k"), 0);
    EXPECT_EQ(TakeCalls(),
              (Calls{"StartDownload k 1 1 2", "Pause k", "Resume k", "SetSpeed k -4",
                     "SetSpeed k 2147483647", "Seek k 0", "StopPlayback k", "StopPlayback k"}));
    factory.script.Throw("Pause");
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_PAUSE, 1, "k"), -1);
    factory.uri = "live";
    Preview();
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_PAUSE, 1, "live"), -1);
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_STOP, 1, "live"), -1);
}

TEST_F(PlayerRequest, SourcesMayCallBackFromInsideAnOperation) {
    MakePlayback();
    Request(TV_STREAM_PLAYBACK_START, 1, "k", R"({"beginTime": 1, "endTime": 2})");
    for (const char* operation : {"Pause", "Seek", "StopPlayback", "ClosePlayback"})
        factory.script.Hook(operation, [this] { Deliver("k", "inside"); });
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_PAUSE, 1, "k"), 0);
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_SEEK, 1, "k", "5"), 0);
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_STOP, 1, "k"), 0);
    EXPECT_EQ(controller.Take().size(), 3U);
    module->OnClose(1, 0, "");
    Tick();
    EXPECT_EQ(SourceState::alive, 0);
    factory.script.Clear();
}

class Talk : public PlayerRequest {
protected:
    /// A unit with this frame type and length in its header, and `payload` behind it.
    static std::string Unit(unsigned type, unsigned length, const std::string& payload) {
        std::string unit(32, '\0');
        const unsigned word = type | length << 7;
        for (size_t i = 0; i < 4; ++i)
            unit[4 + i] = static_cast<char>(word >> (8 * i) & 0xff);
        return unit + payload;
    }
    void Speak(std::string unit) {
        EXPECT_EQ(module->OnStream(1, unit.data(), static_cast<int>(unit.size())), 0);
    }
};

TEST_F(Talk, OneTalkAConnection) {
    const std::string key = Preview(R"({"id": "d", "channel": 5})");
    TakeCalls();
    EXPECT_EQ(Request(TV_STREAM_TALK_START, 1, key, "7"), 0);
    EXPECT_EQ(Request(TV_STREAM_TALK_START, 1, key, "8"), 0);
    EXPECT_EQ(TakeCalls(), (Calls{"CreateTalkServer", "StartTalk 1 5 7", "CreateTalkServer",
                                  "StartTalk 2 5 8", "StopTalk 1"}));
    factory.script.Result("StartTalk", -1);
    EXPECT_EQ(Request(TV_STREAM_TALK_START, 1, key), 0);  // the earlier one goes on
    factory.script.Null("CreateTalkServer");
    EXPECT_EQ(Request(TV_STREAM_TALK_START, 1, key), 0);
    factory.script.Clear();
    factory.script.Throw("StartTalk");
    EXPECT_EQ(Request(TV_STREAM_TALK_START, 1, key), -1);
    TakeCalls();
    EXPECT_EQ(Request(TV_STREAM_TALK_STOP, 2, key), -1);
    EXPECT_EQ(Request(TV_STREAM_TALK_STOP, 1, key), 0);
    EXPECT_EQ(Request(TV_STREAM_TALK_STOP, 1, key), -1);
    EXPECT_EQ(TakeCalls(), Calls{"StopTalk 2"});
}

TEST_F(Talk, NeedsADeviceAndALiveStream) {
    const std::string key = Preview();
    MakePlayback();
    EXPECT_EQ(Request(TV_STREAM_TALK_START, 1, "k"), -1);
    Ask(TV_CMD_DEVICES_DEQUEUE, "", R"({"id": "d"})");
    EXPECT_EQ(Request(TV_STREAM_TALK_START, 1, key), -1);
    EXPECT_EQ(factory.script.Count("CreateTalkServer"), 0);
}

TEST_F(Talk, OnlyWholeAudioUnitsReachTheDevice) {
    const std::string key = Preview();
    Request(TV_STREAM_TALK_START, 1, key);
    TakeCalls();
    Speak(Unit(2, 3, "abcdef"));
    Speak(Unit(2, 6, "abcdef"));
    EXPECT_EQ(TakeCalls(), (Calls{"SendTalkData abc", "SendTalkData abcdef"}));
    Speak(Unit(2, 7, "abcdef"));
    Speak(Unit(2, 0x3fffff, "abcdef"));
    for (unsigned type : {0u, 1u, 3u})
        Speak(Unit(type, 6, "abcdef"));
    Speak(Unit(2, 0, "").substr(0, 31));
    Speak("");
    EXPECT_EQ(module->OnStream(1, nullptr, 100), 0);
    std::string unit = Unit(2, 1, "a");
    EXPECT_EQ(module->OnStream(1, unit.data(), -1), 0);
    EXPECT_EQ(module->OnStream(2, unit.data(), 33), 0);
    EXPECT_EQ(TakeCalls(), Calls{});
    factory.script.Throw("SendTalkData");
    Speak(unit);
}

TEST_F(Talk, LeavingEndsTalkAndPlaybackButNoPreview) {
    const std::string key = Preview();
    MakePlayback();
    Request(TV_STREAM_PREVIEW_START, 1, key);
    Request(TV_STREAM_TALK_START, 1, key);
    Request(TV_STREAM_PLAYBACK_START, 1, "k", R"({"beginTime": 1, "endTime": 2})");
    TakeCalls();
    module->OnConnect(2, "10.0.0.2", 1);
    module->OnClose(2, 0, nullptr);
    EXPECT_EQ(TakeCalls(), Calls{});
    module->OnClose(1, 0, nullptr);
    EXPECT_EQ(TakeCalls(), (Calls{"StopPlayback k", "StopTalk 1"}));
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_PAUSE, 1, "k"), -1);
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_STOP, 1, key), 0);
    Tick();
    EXPECT_EQ(SourceState::alive, 1);
}

}  // namespace
}  // namespace vms::test
