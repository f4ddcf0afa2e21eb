// PTZ by plain names, and movements that end whatever their clients do.
#include "host/api/PtzApi.h"

#include <gmock/gmock-matchers.h>

#include <algorithm>
#include <atomic>

#include "tests/host/api/ApiFixture.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using test::BusModule;
using test::Eventually;

class PtzApiTest : public test::ApiFixture {
protected:
    PtzApiTest() { StartApi(); }

    int Act(const std::string& members) {
        return Ask("POST", "/api/ptz", R"({"device": "cam", )" + members + "}").status;
    }

    /// What the module has been asked: "begin 0/3" and "end 0/3" for movements (operation and
    /// direction), the action's number for all else.
    std::vector<std::string> Moves() const {
        std::vector<std::string> moves;
        for (const BusModule::Asked& asked : module_.All()) {
            Json::Value body;
            ParseJson(asked.body.c_str(), body);
            const Json::Value& control = body["contrl"];
            moves.push_back(control.isNull()
                                ? body["action"].asString()
                                : (control["is_press"] == 1 ? "begin " : "end ") +
                                      control["opt"].asString() + "/" + control["turn"].asString());
        }
        return moves;
    }

    bool WaitForMoves(size_t count) const {
        return Eventually([&] { return Moves().size() >= count; });
    }
};

TEST_F(PtzApiTest, NamesBecomeNumbers) {
    EXPECT_EQ(Act(R"("channel": 2, "action": "left-down", "speed": 7, "duration": 60000)"), 204);
    EXPECT_EQ(module_.All()[0].body,
              R"({"action":0,"channel":2,"contrl":{"is_add":0,"is_press":1,"opt":0,"speed":7,)"
              R"("turn":7},"id":"cam"})");
    EXPECT_EQ(module_.All()[0].device, "cam");
    EXPECT_EQ(Act(R"("action": "go-to-preset", "preset": 3)"), 204);
    EXPECT_EQ(Act(R"("action": "start-cruise", "cruise": 1)"), 204);
    EXPECT_EQ(Act(R"("action": "stop-cruise")"), 204);
    EXPECT_THAT(module_.All().back().body, testing::HasSubstr(R"("cruise":{"cruiseIdx":-1})"));
    EXPECT_EQ(Act(R"("action": "focus-once")"), 204);
    EXPECT_EQ(Moves(), (std::vector<std::string>{"begin 0/7", "6", "10", "11", "begin 4/0"}));
}

TEST_F(PtzApiTest, AMovementThatNobodyStopsEndsByItself) {
    EXPECT_EQ(Act(R"("action": "up", "duration": 50)"), 204);
    ASSERT_TRUE(WaitForMoves(2));
    EXPECT_EQ(Moves(), (std::vector<std::string>{"begin 0/1", "end 0/1"}));
}

TEST_F(PtzApiTest, AStopThatFailsIsTriedAgain) {
    std::atomic<int> failures{1};
    module_.SetAnswer([&](const BusModule::Asked& asked) {
        const bool isEnd = asked.body.find(R"("is_press":0)") != std::string::npos;
        return BusModule::Reply{.result = isEnd && failures-- > 0 ? -1 : 1};
    });
    EXPECT_EQ(Act(R"("action": "zoom-in", "duration": 50)"), 204);
    ASSERT_TRUE(WaitForMoves(3));
    EXPECT_EQ(Moves(), (std::vector<std::string>{"begin 1/0", "end 1/0", "end 1/0"}));
}

TEST_F(PtzApiTest, ALaterMovementHasItsOwnTime) {
    EXPECT_EQ(Act(R"("action": "up", "duration": 60000)"), 204);
    EXPECT_EQ(Act(R"("action": "stop")"), 204);
    EXPECT_EQ(Act(R"("action": "left", "duration": 60000)"), 204);
    EXPECT_EQ(Act(R"("action": "right", "duration": 50)"), 204);
    ASSERT_TRUE(WaitForMoves(5));
    EXPECT_EQ(Moves(), (std::vector<std::string>{"begin 0/1", "end 0/0", "begin 0/3", "begin 0/4",
                                                 "end 0/4"}));
}

TEST_F(PtzApiTest, StopEndsTheLensToo) {
    EXPECT_EQ(Act(R"("action": "zoom-out", "duration": 60000)"), 204);
    EXPECT_EQ(Act(R"("action": "stop")"), 204);
    ASSERT_TRUE(WaitForMoves(3));
    std::vector<std::string> moves = Moves();
    std::sort(moves.begin(), moves.end());
    EXPECT_EQ(moves, (std::vector<std::string>{"begin 1/0", "end 0/0", "end 1/0"}));
}

TEST_F(PtzApiTest, WhatMovesIsStoppedWhenTheHostEnds) {
    EXPECT_EQ(Act(R"("action": "down", "duration": 60000)"), 204);
    Stop();
    bus_.Interrupt();
    api_.reset();
    ASSERT_EQ(Moves().size(), 2U) << "it has gone out before the modules end";
    EXPECT_EQ(Moves()[1], "end 0/2");
}

TEST_F(PtzApiTest, PresetsAndCruisesGoBothWays) {
    EXPECT_EQ(Ask("PUT", "/api/presets",
                  R"({"device": "cam", "preset": 5, "name": "Tür", "readOnly": true})")
                  .status,
              204);
    EXPECT_EQ(Ask("DELETE", "/api/presets?device=cam&preset=5").status, 204);
    EXPECT_EQ(Ask("PUT", "/api/cruises",
                  R"({"device": "cam", "cruise": 1, "stops": [{"preset": 5, "seconds": 10}]})")
                  .status,
              204);
    EXPECT_THAT(module_.All().back().body, testing::HasSubstr(R"("presetDweelTime":10)"));
    EXPECT_EQ(Ask("DELETE", "/api/cruises?device=cam&cruise=1").status, 204);
    EXPECT_EQ(Ask("PUT", "/api/ptz", R"({"device": "cam", "speed": 40})").status, 204);
    EXPECT_EQ(Moves(), (std::vector<std::string>{"4", "5", "8", "9", "2"}));

    module_.SetAnswer([](const BusModule::Asked& asked) -> BusModule::Reply {
        if (asked.body.find(R"("action":3)") != std::string::npos)
            return {1, R"({"supportPtz": 1, "presetList": [{"presetIdx": 5, "presetName": "A",
                           "speed": 1, "enablePreset": 1, "readOnly": 0}, 9]})"};
        return {1, R"({"speed": 4, "cruise": {"cruiseIdx": 1, "enableCruise": 1,
                       "cruisePresetList": [{"presetIdx": 5, "presetDweelTime": 10}]}})"};
    });
    const Got presets = Ask("GET", "/api/presets?device=cam");
    EXPECT_EQ(presets.body["can"]["move"], true);
    EXPECT_EQ(presets.body["presets"][0]["name"], "A");
    const Got cruise = Ask("GET", "/api/cruises?device=cam&cruise=1");
    EXPECT_EQ(cruise.body["stops"][0]["seconds"], 10);
    EXPECT_EQ(Ask("GET", "/api/ptz?device=cam").body["speed"], 4);
}

TEST_F(PtzApiTest, WhatCannotBeDone) {
    for (const char* members :
         {R"("action": "fly")", R"("action": 3)", R"("channel": 0)",
          R"("action": "up", "speed": 101)", R"("action": "up", "duration": 0)",
          R"("action": "up", "duration": 3600000)", R"("action": "up", "channel": -1)",
          R"("action": "go-to-preset")", R"("action": "start-cruise")",
          R"("action": "up", "colour": 1)", R"("action": "up", "speed": 1e400)"})
        EXPECT_EQ(Act(members), 400) << members;
    EXPECT_EQ(Ask("PUT", "/api/cruises", R"({"device": "cam", "cruise": 1, "stops": [5]})").status,
              400);
    EXPECT_EQ(Ask("POST", "/api/ptz", R"({"device": "none", "action": "up"})").status, 404);
    EXPECT_TRUE(module_.All().empty());
    module_.SetAnswer([](const BusModule::Asked&) { return BusModule::Reply{.result = -1}; });
    const Got refused = Ask("POST", "/api/ptz", R"({"device": "cam", "action": "lens-init"})");
    EXPECT_EQ(refused.status, 502);
    EXPECT_EQ(refused.Error(), "the device did not move");
}

}  // namespace
}  // namespace vms::host
