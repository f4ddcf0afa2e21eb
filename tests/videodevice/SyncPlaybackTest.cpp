// Sessions that play several channels in lockstep, and their channels as players see them.
#include "tests/videodevice/ModuleFixture.h"

namespace vms::test {
namespace {

constexpr const char* kUsable = R"({"id": "s", "beginTime": 1, "endTime": 2})";

class SyncPlayback : public ModuleFixture {
protected:
    void CreateSession(const std::string& key = "d-1") {
        ASSERT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, key, kUsable).result, 1);
        TakeCalls();
    }
    int StartChannel(long long connection, const std::string& channel) {
        return Request(TV_STREAM_PLAYBACK_START, connection, "d-1", channel);
    }
    void Handle(void (VideoDeviceModule::*handler)(__tagTvCommand*), const std::string& deviceId,
                const std::string& body) {
        __tagTvCommand command;
        command.deviceId = deviceId;
        command.body = body;
        (module.get()->*handler)(&command);
    }
};

TEST_F(SyncPlayback, CreatePassesEverythingOn) {
    const Answer answer = Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1",
                              R"({"id": "s", "streamNo": 1, "beginTime": 2, "endTime": 3,
                                  "seekTime": 4, "speed": 5, "recordType": 6})");
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(Parsed(answer.body),
              Parsed(R"({"ip": "10.0.0.1", "port": 8080, "uri": "", "type": 0})"));
    EXPECT_EQ(TakeCalls(),
              (Calls{"GetCapability", "CreateSyncPlaybackServer", "Create s 2 3 4 6 1 5"}));
    // The earlier session of the key goes first, even when the new one comes to nothing.
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", kUsable).result, 1);
    EXPECT_EQ(TakeCalls(), (Calls{"GetCapability", "Stop", "CreateSyncPlaybackServer",
                                  "Create s 1 2 0 19 0 0"}));
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", "{}"), (Answer{-1, ""}));
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_START, "d-1"), (Answer{-1, ""}));
}

TEST_F(SyncPlayback, CreateRefusesWhatCannotBePlayed) {
    for (const char* body : {"", "5", R"({"beginTime": 1, "endTime": 2})",
                             R"({"id": "s", "beginTime": 0, "endTime": 2})",
                             R"({"id": "s", "beginTime": 2, "endTime": 2})",
                             R"({"id": "s", "beginTime": "1", "endTime": 2})"}) {
        EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", body), (Answer{-1, ""})) << body;
    }
    EXPECT_EQ(factory.script.Count("Create"), 0);
    factory.script.Result("Create", -1);
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", kUsable).result, -1);
    factory.script.Throw("Create");
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", kUsable).result, -1);
    factory.script.Null("CreateSyncPlaybackServer");
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", kUsable).result, -1);
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "nobody-1", kUsable).result, -1);
    Tick();
    EXPECT_EQ(SourceState::alive, 0);
}

TEST_F(SyncPlayback, ADeviceThatCannotDoItKeepsItsSession) {
    CreateSession();
    factory.answers.fillsCapability = false;
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", kUsable), (Answer{-1, ""}));
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_START, "d-1"), (Answer{1, ""}));
}

TEST_F(SyncPlayback, ControlReachesTheSession) {
    struct Case {
        __enumTvCommand id;
        const char* body;
        const char* call;
        const char* operation;
    };
    const Case cases[] = {
        {TV_CMD_SYNC_PLAYBACK_CHANNEL_ADD, R"([1, "x", 3])", "AddChannels 1 3", "AddChannels"},
        {TV_CMD_SYNC_PLAYBACK_CHANNEL_DEL, "[2]", "DelChannels 2", "DelChannels"},
        {TV_CMD_SYNC_PLAYBACK_START, "", "Start", "Start"},
        {TV_CMD_SYNC_PLAYBACK_STOP, "", "Stop", "Stop"},
        {TV_CMD_SYNC_PLAYBACK_PAUSE, "", "Pause", "Pause"},
        {TV_CMD_SYNC_PLAYBACK_RESUME, "", "Resume", "Resume"},
        {TV_CMD_SYNC_PLAYBACK_SEEK, "17", "Seek 17", "Seek"},
        {TV_CMD_SYNC_PLAYBACK_SET_SPEED, "-2", "SetSpeed -2", "SetSpeed"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.call);
        EXPECT_EQ(Ask(test.id, "d-1", test.body), (Answer{-1, ""}));  // no session yet
    }
    CreateSession();
    for (const Case& test : cases) {
        SCOPED_TRACE(test.call);
        EXPECT_EQ(Ask(test.id, "d-1", test.body), (Answer{1, ""}));
        EXPECT_EQ(TakeCalls(), Calls{test.call});
        factory.script.Result(test.operation, -1);
        EXPECT_EQ(Ask(test.id, "d-1", test.body), (Answer{-1, ""}));
        factory.script.Throw(test.operation);
        EXPECT_EQ(Ask(test.id, "d-1", test.body), (Answer{-1, ""}));
        factory.script.Clear();
    }
    for (const char* body : {"[]", R"(["x"])", "{}", "["})
        EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CHANNEL_ADD, "d-1", body), (Answer{-1, ""})) << body;
    EXPECT_EQ(TakeCalls(), Calls{});
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_DESTROY, "d-1"), (Answer{1, ""}));
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_DESTROY, "d-1"), (Answer{1, ""}));
    EXPECT_EQ(TakeCalls(), Calls{"Stop"});
    Tick();
    EXPECT_EQ(TakeCalls(), (Calls{"CloseSession", "Destroy"}));
}

TEST_F(SyncPlayback, TheFirstPlayerMakesTheChannelAndTheLastEndsIt) {
    CreateSession();
    EXPECT_EQ(StartChannel(1, "3"), -1);  // always, carried out or not
    EXPECT_EQ(StartChannel(2, "3"), -1);
    EXPECT_EQ(TakeCalls(), (Calls{"GetToken", "CreateSyncPlaybackChannelServer 3 token",
                                  "StartPlayback d-1 3 0 0 0 0 0 0", "GetToken"}));
    Deliver("d-1--3", "u");
    EXPECT_EQ(controller.Take(), (Calls{"1:u", "2:u"}));
    Deliver("d-1--4", "u");
    Deliver("d-1--3x", "v");
    EXPECT_EQ(controller.Take(), (Calls{"1:v", "2:v"}));
    // A failed send does not detach here: the connection's close does.
    controller.Answer(1, -1);
    Deliver("d-1--3", "w");
    Deliver("d-1--3", "x");
    EXPECT_EQ(controller.Take().size(), 4U);
    module->OnClose(1, 0, "");
    EXPECT_EQ(TakeCalls(), Calls{});
    module->OnClose(2, 0, "");
    EXPECT_EQ(TakeCalls(), (Calls{"Stop", "StopPlayback"}));
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_START, "d-1").result, -1);
    Tick();
    EXPECT_EQ(SourceState::alive, 0);
}

TEST_F(SyncPlayback, AChannelIsStoppedOnlyWhereTheWholeKeyNamesADevice) {
    CreateSession();
    StartChannel(1, "3");
    StartChannel(1, "4");
    TakeCalls();
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_STOP, 1, "d-1", "3"), -1);
    EXPECT_EQ(TakeCalls(), Calls{});
    Ask(TV_CMD_DEVICES_ENQUEUE, "", R"({"id": "d-1"})");
    TakeCalls();
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_STOP, 2, "d-1", "3"), -1);
    EXPECT_EQ(TakeCalls(), Calls{});
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_STOP, 1, "d-1", "3"), -1);
    EXPECT_EQ(TakeCalls(), Calls{"StopPlayback"});
    EXPECT_EQ(Request(TV_STREAM_PLAYBACK_STOP, 1, "d-1", "3"), -1);
    Tick();
    EXPECT_EQ(SourceState::alive, 2);
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_START, "d-1"), (Answer{1, ""}));
    // Its device gone, the session of that very key goes too.
    Ask(TV_CMD_DEVICES_DEQUEUE, "", R"([{"id": "d-1"}, {"id": "absent"}])");
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_START, "d-1"), (Answer{-1, ""}));
    Tick();
    EXPECT_EQ(SourceState::alive, 0);
}

TEST_F(SyncPlayback, WithoutATokenOrASourceThereIsNoChannel) {
    CreateSession();
    StartChannel(1, "3");
    factory.script.Null("GetToken");
    LogProbe log;
    module->SetCallback(&log);
    EXPECT_EQ(StartChannel(1, "4"), -1);
    EXPECT_EQ(log.Take().back(), "2 OnRecv create stream err, token is null");
    module->SetCallback(nullptr);
    factory.script.Clear();
    factory.script.Null("CreateSyncPlaybackChannelServer");
    EXPECT_EQ(StartChannel(1, "4"), -1);
    factory.script.Clear();
    factory.script.Throw("StartPlayback");
    EXPECT_EQ(StartChannel(1, "4"), -1);
    Tick();
    EXPECT_EQ(SourceState::alive, 2);
}

TEST_F(SyncPlayback, TwoStartsAtOnceMakeOneStream) {
    CreateSession();
    bool nested = false;
    // A second player comes while the first one's source is being made.
    factory.script.Hook("CreateSyncPlaybackChannelServer", [&] {
        if (!std::exchange(nested, true))
            StartChannel(2, "3");
    });
    StartChannel(1, "3");
    EXPECT_EQ(factory.script.Count("CreateSyncPlaybackChannelServer"), 2);
    EXPECT_EQ(factory.script.Count("StartPlayback"), 1);
    EXPECT_EQ(SourceState::alive, 2);  // session and one channel
    Deliver("d-1--3", "u");
    EXPECT_EQ(controller.Take(), (Calls{"2:u", "1:u"}));
    factory.script.Clear();
}

TEST_F(SyncPlayback, ASessionThatEndsMeanwhileGetsNoChannel) {
    CreateSession();
    factory.script.Hook("CreateSyncPlaybackChannelServer",
                        [&] { module->SyncPlaybackErase("d-1"); });
    StartChannel(1, "3");
    EXPECT_EQ(factory.script.Count("StartPlayback"), 0);
    Tick();
    EXPECT_EQ(SourceState::alive, 0);
    factory.script.Clear();
}

TEST_F(SyncPlayback, OfTwoCreatesAtOnceOneWins) {
    bool nested = false;
    factory.script.Hook("Create", [&] {
        if (!std::exchange(nested, true))
            Handle(&VideoDeviceModule::SyncPlaybackCreate, "d-1", kUsable);
    });
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", kUsable), (Answer{-1, ""}));
    EXPECT_EQ(factory.script.Count("Stop"), 1);  // the loser
    Tick();
    EXPECT_EQ(SourceState::alive, 1);
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_START, "d-1"), (Answer{1, ""}));
    factory.script.Clear();
}

}  // namespace
}  // namespace vms::test
