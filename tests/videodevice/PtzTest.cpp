// One command, twelve operations.
#include "tests/videodevice/ModuleFixture.h"

namespace vms::test {
namespace {

class Ptz : public ModuleFixture {};

struct Case {
    const char* body;
    const char* call;       ///< empty: no call on the driver
    const char* operation;  ///< whose refusal is a failure
};

const Case kCases[] = {
    {R"({"id": "x", "channel": 2, "action": 0,
         "contrl": {"opt": 1, "turn": 2, "is_add": 3, "is_press": 4, "speed": 5}})",
     "PtzControl 2 opt=1 turn=2 add=3 press=4 speed=5", "PtzControl"},
    {R"({"id": "x", "channel": "2", "action": 0, "contrl": {"opt": 1, "turn": "x"}})",
     "PtzControl 0 opt=1 turn=0 add=0 press=0 speed=0", "PtzControl"},
    {R"({"id": "x", "action": 0, "contrl": 5})", "PtzControl 0 opt=0 turn=0 add=0 press=0 speed=0",
     "PtzControl"},
    {R"({"id": "x", "channel": 1, "action": 1})", "PtzGetSpeed 1", "PtzGetSpeed"},
    {R"({"id": "x", "channel": 1, "action": 2, "speed": 6})", "PtzSetSpeed 1 6", "PtzSetSpeed"},
    {R"({"id": "x", "channel": 1, "action": 4, "preset": {"presetIdx": 5, "presetName": "n",
         "enablePreset": 1, "readOnly": 1, "speed": 2, "presetDweelTime": 9}})",
     "PtzAddPreset 1 [5 'n' speed=2 enable=1 readOnly=1 dwell=0]", "PtzAddPreset"},
    {R"({"id": "x", "action": 5, "preset": {"presetIdx": 5, "presetName": 7}})",
     "PtzDelPreset 0 [5 '' speed=0 enable=0 readOnly=0 dwell=0]", "PtzDelPreset"},
    {R"({"id": "x", "action": 6, "preset": [1]})",
     "PtzCallPreset 0 [0 '' speed=0 enable=0 readOnly=0 dwell=0]", "PtzCallPreset"},
    {R"({"id": "x", "channel": 1, "action": 8, "cruise": {"cruiseIdx": 3, "enableCruise": 1,
         "cruisePresetList": [{"presetIdx": 1, "speed": 2, "presetDweelTime": 3,
         "enablePreset": 4, "presetName": "n", "readOnly": 1}, 5]}})",
     "PtzAddCruise 1 3 enable=1 [1 '' speed=2 enable=4 readOnly=0 dwell=3] "
     "[0 '' speed=0 enable=0 readOnly=0 dwell=0]",
     "PtzAddCruise"},
    {R"({"id": "x", "action": 8, "cruise": {"cruisePresetList": {"presetIdx": 1}}})",
     "PtzAddCruise 0 0 enable=0", "PtzAddCruise"},
    {R"({"id": "x", "action": 9, "cruise": {"cruiseIdx": 3}})", "PtzDelCruise 0 3", "PtzDelCruise"},
    {R"({"id": "x", "action": 10})", "PtzStartCruise 0 -1", "PtzStartCruise"},
    {R"({"id": "x", "action": 11, "cruise": {"cruiseIdx": "3"}})", "PtzStopCruise 0 -1",
     "PtzStopCruise"},
    // Nothing of the following reaches a driver.
    {R"({"id": "x", "action": 2, "contrl": {"speed": 6}})", "", ""},
    {R"({"id": "x", "action": 12})", "", ""},
    {R"({"id": "x", "action": -1})", "", ""},
    {R"({"id": "x", "action": "0"})", "", ""},
    {R"({"id": "x"})", "", ""},
    {R"({"id": "", "action": 0})", "", ""},
    {R"({"id": 5, "action": 0})", "", ""},
    {R"([{"id": "x", "action": 0}])", "", ""},
    {"{\"id\": \"x\", \"action\": 0", "", ""},
};

TEST_F(Ptz, Operations) {
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.body);
        const bool called = *test.call != '\0';
        EXPECT_EQ(Ask(TV_CMD_PTZ_CONTROL, "d", test.body).result, called ? 1 : -1);
        EXPECT_EQ(TakeCalls(), called ? Calls{test.call} : Calls{});
        EXPECT_EQ(Ask(TV_CMD_PTZ_CONTROL, "nobody", test.body), (Answer{-1, ""}));
        if (!called)
            continue;
        factory.script.Result(test.operation, -1);
        EXPECT_EQ(Ask(TV_CMD_PTZ_CONTROL, "d", test.body), (Answer{-1, ""}));
        factory.script.Result(test.operation, 5);
        EXPECT_EQ(Ask(TV_CMD_PTZ_CONTROL, "d", test.body).result, 1);
        factory.script.Throw(test.operation);
        EXPECT_EQ(Ask(TV_CMD_PTZ_CONTROL, "d", test.body), (Answer{-1, ""}));
        factory.script.Clear();
    }
}

TEST_F(Ptz, SpeedIsReported) {
    EXPECT_EQ(Ask(TV_CMD_PTZ_CONTROL, "d", R"({"id": "x", "action": 1})"),
              (Answer{1, "{\n\t\"speed\" : 0\n}\n"}));
}

TEST_F(Ptz, PresetsAndWhatTheHeadCanDo) {
    const char* const ask = R"({"id": "x", "action": 3})";
    const Json::Value empty = Parsed(Ask(TV_CMD_PTZ_CONTROL, "d", ask).body);
    EXPECT_EQ(empty.size(), 7U);
    EXPECT_EQ(empty["auto3DEnable"], 1);
    EXPECT_EQ(empty["auto3DStatus"], 2);
    EXPECT_EQ(empty["supportPtz"], 0);
    EXPECT_EQ(empty["supportOperture"], 1);

    factory.answers.presets = {{3, "gate", 4, 1, 1, 9}, {}};
    factory.answers.fillsCapability = false;
    factory.script.Result("PtzGetCapability", -1);
    const Json::Value full = Parsed(Ask(TV_CMD_PTZ_CONTROL, "d", ask).body);
    EXPECT_EQ(full["supportPtz"], 1);
    ASSERT_EQ(full["presetList"].size(), 2U);
    EXPECT_EQ(full["presetList"][0],
              Parsed(R"({"presetIdx": 3, "presetName": "gate", "speed": 4, "enablePreset": 1,
                         "readOnly": 1})"));
    factory.script.Result("PtzGetPreset", -1);
    EXPECT_EQ(Ask(TV_CMD_PTZ_CONTROL, "d", ask), (Answer{-1, ""}));
}

TEST_F(Ptz, CruisesAreReportedWithTheirStops) {
    factory.answers.cruise = {3, 1, {{1, "n", 2, 1, 1, 30}}};
    const Answer answer = Ask(TV_CMD_PTZ_CONTROL, "d", R"({"id": "x", "action": 7})");
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(Parsed(answer.body),
              Parsed(R"({"cruise": {"cruiseIdx": 3, "enableCruise": 1, "cruisePresetList":
                  [{"presetIdx": 1, "speed": 2, "presetDweelTime": 30, "enablePreset": 1}]}})"));
    EXPECT_EQ(TakeCalls(), Calls{"PtzGetCruise 0 -1"});
    factory.script.Result("PtzGetCruise", -1);
    EXPECT_EQ(Ask(TV_CMD_PTZ_CONTROL, "d", R"({"id": "x", "action": 7})"), (Answer{-1, ""}));
}

}  // namespace
}  // namespace vms::test
