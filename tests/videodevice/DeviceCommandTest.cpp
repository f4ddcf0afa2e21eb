// The device table and the commands that pass one call through to a driver.
#include <set>

#include "platform/CreateCommandBusInstance.h"
#include "platform/SysCommandHelper.h"
#include "tests/support/BusProbe.h"
#include "tests/videodevice/ModuleFixture.h"

namespace vms::test {
namespace {

class DeviceCommand : public ModuleFixture {};

TEST_F(DeviceCommand, EnqueueReplacesAndDequeueRemoves) {
    LogProbe log;
    module->SetCallback(&log);
    const std::string both = R"([{"id": "d"}, {"id": "e"}, {"id": "e"}, {"no": "id"}])";
    EXPECT_EQ(Ask(TV_CMD_DEVICES_ENQUEUE, "", both), (Answer{1, ""}));
    EXPECT_EQ(log.Take(),
              (Calls{"1 DevicesEnqueue dev count=2", "1 DevicesEnqueue dev info=" + both}));
    EXPECT_EQ(FakeDriver::alive, 2);
    EXPECT_EQ(Ask(TV_CMD_DEVICES_DEQUEUE, "", R"([{"id": "absent"}, {"id": "d"}])"),
              (Answer{1, ""}));
    EXPECT_EQ(log.Take(), (Calls{"1 DevicesDequeue dev count=1"}));
    EXPECT_EQ(FakeDriver::alive, 1);
    EXPECT_EQ(Ask(TV_CMD_DEV_TIMING, "d"), (Answer{-1, ""}));
    EXPECT_EQ(Ask(TV_CMD_DEV_TIMING, "e"), (Answer{1, ""}));
    module->SetCallback(nullptr);
}

TEST_F(DeviceCommand, DriversAreDestroyedWithTheTableUnlocked) {
    // The driver's destructor looks into the table, as one that ends its own threads may.
    factory.script.Hook("~Device", [this] {
        __tagTvCommand command;
        command.deviceId = "e";
        module->DevTiming(&command);
    });
    EXPECT_EQ(Ask(TV_CMD_DEVICES_ENQUEUE, "", R"([{"id": "d"}])").result, 1);
    EXPECT_EQ(Ask(TV_CMD_DEVICES_DEQUEUE, "", R"([{"id": "d"}])").result, 1);
    EXPECT_EQ(factory.script.Count("~Device"), 2);
    factory.script.Clear();
}

TEST_F(DeviceCommand, AnOldDriverIsGoneBeforeItsSuccessorIsMade) {
    // Meanwhile the device is unknown: the driver that goes is asked nothing.
    factory.script.Hook("~Device", [this] {
        __tagTvCommand command;
        command.deviceId = "d";
        module->DevTiming(&command);
    });
    EXPECT_EQ(Ask(TV_CMD_DEVICES_ENQUEUE, "", R"([{"id": "d"}, {"id": "e"}, {"id": "d"}])"),
              (Answer{1, ""}));
    EXPECT_EQ(TakeCalls(), (Calls{"~Device d", "CreateDevice d", "CreateDevice e", "~Device d",
                                  "CreateDevice d"}));
    factory.script.Clear();
    EXPECT_EQ(Ask(TV_CMD_DEV_TIMING, "d"), (Answer{1, ""}));
}

TEST_F(DeviceCommand, ADriverThatCouldNotBeMadeIsUnknown) {
    factory.script.Null("CreateDevice");
    EXPECT_EQ(Ask(TV_CMD_DEVICES_ENQUEUE, "", R"([{"id": "none"}])"), (Answer{1, ""}));
    factory.script.Clear();
    factory.script.Throw("CreateDevice");
    EXPECT_EQ(Ask(TV_CMD_DEVICES_ENQUEUE, "", R"([{"id": "thrown"}])"), (Answer{1, ""}));
    EXPECT_EQ(Ask(TV_CMD_DEV_TIMING, "none"), (Answer{-1, ""}));
    EXPECT_EQ(Ask(TV_CMD_DEV_TIMING, "thrown"), (Answer{-1, ""}));
    const Answer sessions = Ask(TV_CMD_GET_DEV_SESSION_ID, "");
    EXPECT_EQ(sessions.result, 1);
    EXPECT_EQ(Parsed(sessions.body).getMemberNames(), (std::vector<std::string>{"d"}));
}

TEST_F(DeviceCommand, NoDevicesNoSessionsNoAnswer) {
    Ask(TV_CMD_DEVICES_DEQUEUE, "", R"([{"id": "d"}])");
    EXPECT_TRUE(AskAll(TV_CMD_GET_DEV_SESSION_ID, "", "").empty());
    EXPECT_EQ(Ask(TV_CMD_GET_DEV_SESSION_ID, "d"), (Answer{-1, ""}));
}

struct Case {
    const char* name;
    __enumTvCommand id;
    const char* body;
    const char* operation;  ///< whose result is scripted
    int result;             ///< of the driver
    Calls calls;
    int code;
    const char* answer;
};

const Case kCases[] = {
    {"session", TV_CMD_GET_DEV_SESSION_ID, "", "", 0, {"GetDevSessionId"}, 1, "session of d"},
    {"connect type",
     TV_CMD_GET_CONNECT_TYPE,
     "",
     "GetConnectType",
     -5,
     {"GetConnectType"},
     1,
     "{\n\t\"type\" : 7\n}\n"},
    {"names",
     TV_CMD_SET_CHANNEL_NAME,
     R"([{"id": "x", "channels": [{"channel": 1, "name": "no"}]},
         {"id": "d", "channels": [{"channel": 2, "name": "yes"}]}])",
     "SetChannelName",
     5,
     {"SetChannelName 2=yes;"},
     1,
     ""},
    {"names refused",
     TV_CMD_SET_CHANNEL_NAME,
     R"({"id": "d", "channels": [{"channel": 2, "name": "yes"}]})",
     "SetChannelName",
     -1,
     {"SetChannelName 2=yes;"},
     -1,
     ""},
    {"names of others",
     TV_CMD_SET_CHANNEL_NAME,
     R"({"id": "x", "channels": [{"channel": 2, "name": "yes"}]})",
     "",
     0,
     {},
     -1,
     ""},
    {"capability",
     TV_CMD_GET_CAPABILITY,
     "",
     "",
     0,
     {"GetCapability"},
     1,
     "{\n\t\"poeNum\" : 4,\n\t\"supportThirdStream\" : 1,\n\t\"supportTiming\" : 2,\n"
     "\t\"version6_0\" : 3\n}\n"},
    {"capability refused",
     TV_CMD_GET_CAPABILITY,
     "",
     "GetCapability",
     1,
     {"GetCapability"},
     -1,
     ""},
    {"timing", TV_CMD_DEV_TIMING, "", "", 0, {"DevTiming"}, 1, ""},
    {"timing refused", TV_CMD_DEV_TIMING, "", "DevTiming", 5, {"DevTiming"}, -1, ""},
    {"permission",
     TV_CMD_GET_DEVICE_PERMISSION,
     "",
     "GetDevicePermission",
     -1,
     {"GetDevicePermission"},
     1,
     "permission"},
    {"time",
     TV_CMD_GET_DEVICE_TIME,
     "",
     "GetDeviceTime",
     -1,
     {"GetDeviceTime"},
     1,
     "{\n\t\"now\" : 1\n}\n"},
    {"transmission",
     TV_CMD_TRANSMISSION,
     R"({"uri": "/a", "request": 5})",
     "Transmission",
     -1,
     {"Transmission /a "},
     1,
     "passed through"},
    {"transmission to nowhere", TV_CMD_TRANSMISSION, R"({"request": "x"})", "", 0, {}, -1, ""},
    {"transmission unreadable", TV_CMD_TRANSMISSION, "{", "", 0, {}, -1, ""},
    {"records",
     TV_CMD_SEARCH_RECORD,
     R"({"channel": 3, "fileType": 2, "endTime": 9})",
     "",
     0,
     {"SearchRecord 3 2 9"},
     1,
     "{\n\t\"records\" : []\n}\n"},
    {"records, unreadable",
     TV_CMD_SEARCH_RECORD,
     "{",
     "",
     0,
     {"SearchRecord 0 0 0"},
     1,
     "{\n\t\"records\" : []\n}\n"},
    {"records refused",
     TV_CMD_SEARCH_RECORD,
     "{}",
     "SearchRecord",
     -2,
     {"SearchRecord 0 0 0"},
     -1,
     "search recored error"},
    {"dates refused",
     TV_CMD_QUERY_RECORD_DATE,
     "{}",
     "QueryRecordDate",
     1,
     {"QueryRecordDate 0 0 19 0 0"},
     -1,
     ""},
    {"dates unreadable", TV_CMD_QUERY_RECORD_DATE, "", "", 0, {}, -1, ""},
};

TEST_F(DeviceCommand, PassThrough) {
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        if (*test.operation != '\0')
            factory.script.Result(test.operation, test.result);
        EXPECT_EQ(Ask(test.id, "d", test.body), (Answer{test.code, test.answer}));
        EXPECT_EQ(TakeCalls(), test.calls);
        // The same for a device that nobody knows: no call, and the failure.
        const bool search = test.id == TV_CMD_SEARCH_RECORD;
        EXPECT_EQ(Ask(test.id, "nobody", test.body),
                  (Answer{-1, search ? "search recored error" : ""}));
        EXPECT_EQ(TakeCalls(), Calls{});
        // And for a driver that throws.
        if (*test.operation != '\0') {
            factory.script.Throw(test.operation);
            EXPECT_EQ(Ask(test.id, "d", test.body),
                      (Answer{-1, search ? "search recored error" : ""}));
        }
        factory.script.Clear();
    }
}

TEST_F(DeviceCommand, DatesAreReportedInTheDriversOrder) {
    factory.answers.dates = {20240301, 20240229};
    const Answer answer =
        Ask(TV_CMD_QUERY_RECORD_DATE, "d", R"({"channel": 1, "fileType": "x", "endTime": 7})");
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(Parsed(answer.body), Parsed("[20240301, 20240229]"));
    EXPECT_EQ(TakeCalls(), Calls{"QueryRecordDate 1 0 19 0 7"});
}

TEST_F(DeviceCommand, ADriverThatFillsNothingReportsDefaults) {
    factory.answers.fillsCapability = false;
    const Json::Value capability = Parsed(Ask(TV_CMD_GET_CAPABILITY, "d").body);
    EXPECT_EQ(capability["poeNum"], -1);
    EXPECT_EQ(capability["supportTiming"], 0);
    EXPECT_EQ(Ask(TV_CMD_GET_DEVICE_TIME, "d"), (Answer{1, "null\n"}));
}

TEST(VideoModuleInit, ReadsWhatHasTheRightType) {
    FakeFactory factory;
    VideoDeviceModule module(&factory);
    EXPECT_TRUE(module.Init("init-test", R"({"streamserver": {"port": 8080, "http_port": 80,
        "rtsp_port": "x", "content": "c", "header": "h"}, "playbackStreamType": 2})"));
    EXPECT_TRUE(module.Init("init-test", "not JSON"));
    factory.script.Result("Init", 1);
    EXPECT_FALSE(module.Init("init-test", nullptr));
    factory.script.Throw("Init");
    EXPECT_FALSE(module.Init("init-test", R"([{"streamserver": 5}])"));
    EXPECT_EQ(factory.script.Take(), (Calls{"Init 'h' '' 80 0 'c'", "Init '' '' 0 0 ''",
                                            "Init '' '' 0 0 ''", "Init '' '' 0 0 ''"}));
    factory.script.Result("UnInit", 3);
    EXPECT_EQ(module.UnInit(), 3);
    EXPECT_TRUE(CreateCommandBusInstance()->UnregisterModule("init-test"));
}

// Every command, player request and sweep of a module without a family, beside one that has
// devices.
TEST(VideoModuleInit, WithoutAFamilyNothingStartsAndEveryCommandFails) {
    FakeController controller;
    std::set<int> succeeded;
    {
        VideoDeviceModule module(nullptr);
        module.SetConnectionControl(&controller);
        EXPECT_FALSE(module.Init("no-family", R"({"streamserver": {"port": "1"}})"));
        const std::string device = R"({"id": "d", "ip": "127.0.0.1", "port": 80})";
        for (int id = TV_CMD_DEVICES_ENQUEUE; id <= TV_CMD_SYNC_PLAYBACK_SET_SPEED; ++id) {
            const bool served = id != TV_CMD_SEARCH_DEVICE;
            const Outcome outcome =
                vms::test::Ask("no-family", static_cast<__enumTvCommand>(id), "d", device);
            ASSERT_EQ(outcome.handled, served) << std::hex << id;
            if (served && !outcome.answers.empty() && outcome.answers[0].result == 1)
                succeeded.insert(id);
        }
        for (int id = TV_STREAM_PREVIEW_START; id <= TV_STREAM_DOWNLOAD_STOP; ++id) {
            __tagTvCommand* const request = SysCommandHelper::CreateRequestCommand(
                static_cast<__enumTvCommand>(id), "player", "d--0", "{}", "");
            EXPECT_EQ(module.OnRecv(1, request, 0), -1) << std::hex << id;
            SysCommandHelper::ReleaseCommand(request);
        }
        module.FaceReConnect("d");
        module.OnClose(1, 0, nullptr);
        EXPECT_EQ(module.OnTimer(), 0);
        EXPECT_NE(module.UnInit(), 0);
        EXPECT_TRUE(CreateCommandBusInstance()->UnregisterModule("no-family"));
    }
    // Those that succeed whatever they name.
    EXPECT_EQ(succeeded, (std::set<int>{TV_CMD_DEVICES_ENQUEUE, TV_CMD_DEVICES_DEQUEUE,
                                        TV_CMD_SYNC_PLAYBACK_DESTROY}));
}

}  // namespace
}  // namespace vms::test
