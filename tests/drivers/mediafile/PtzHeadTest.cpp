#include "drivers/mediafile/device/PtzHead.h"

#include <gtest/gtest.h>

namespace vms::mediafile {
namespace {

class PtzHeadTest : public testing::Test {
protected:
    void Pass(int seconds) { now_ += std::chrono::seconds(seconds); }

    static __tagTvPtzParam Turn(int turn, int press, int speed) {
        __tagTvPtzParam param;
        param.turn = turn;
        param.is_press = press;
        param.speed = speed;
        return param;
    }
    /// Stores the place that a second of turning leads to.
    void Store(int index, int turn, bool readOnly = false) {
        EXPECT_EQ(head_.Control(Turn(turn, 1, 1)), 0);
        Pass(1);
        EXPECT_EQ(head_.Control(Turn(turn, 0, 1)), 0);
        __tagTvPtzPresetParam preset;
        preset.presetIdx = index;
        preset.presetName = "p" + std::to_string(index);
        preset.readOnly = readOnly ? 1 : 0;
        EXPECT_EQ(head_.AddPreset(preset), 0);
    }

    PtzHead::TimePoint now_{std::chrono::hours(1)};
    PtzHead head_{[this] { return now_; }};
};

TEST_F(PtzHeadTest, TurnsWhilePressedAndStopsAtItsLimits) {
    EXPECT_EQ(head_.Control(Turn(6, 1, 2)), 0);
    Pass(2);
    EXPECT_DOUBLE_EQ(head_.Position().pan, 40);
    EXPECT_DOUBLE_EQ(head_.Position().tilt, 40);
    EXPECT_EQ(head_.Control(Turn(6, 0, 0)), 0);
    Pass(5);
    EXPECT_DOUBLE_EQ(head_.Position().pan, 40);
    EXPECT_EQ(head_.Control(Turn(2, 1, 10)), 0);
    Pass(100);
    EXPECT_DOUBLE_EQ(head_.Position().tilt, -90);
    EXPECT_EQ(head_.Control(Turn(9, 1, 1)), -1);
}

TEST_F(PtzHeadTest, ZoomsWithTheSetSpeed) {
    EXPECT_EQ(head_.SetSpeed(0), -1);
    EXPECT_EQ(head_.SetSpeed(11), -1);
    EXPECT_EQ(head_.SetSpeed(3), 0);
    EXPECT_EQ(head_.Speed(), 3);
    __tagTvPtzParam zoom;
    zoom.opt = 1;
    zoom.is_add = zoom.is_press = 1;
    EXPECT_EQ(head_.Control(zoom), 0);
    Pass(2);
    EXPECT_DOUBLE_EQ(head_.Position().zoom, 7);
    zoom.opt = 2;
    EXPECT_EQ(head_.Control(zoom), -1);
}

TEST_F(PtzHeadTest, GoesToPresets) {
    Store(1, 4);
    Store(2, 4, true);
    EXPECT_EQ(head_.CallPreset(1, 10), 0);
    Pass(1);
    EXPECT_DOUBLE_EQ(head_.Position().pan, 10);
    EXPECT_EQ(head_.CallPreset(9, 1), -1);

    __tagTvPtzPresetParam locked;
    locked.presetIdx = 2;
    EXPECT_EQ(head_.AddPreset(locked), -1);
    EXPECT_EQ(head_.DelPreset(2), -1);
    EXPECT_EQ(head_.DelPreset(1), 0);
    EXPECT_EQ(head_.DelPreset(1), -1);
    ASSERT_EQ(head_.Presets().size(), 1U);
    EXPECT_EQ(head_.Presets().front().presetName, "p2");
    locked.presetIdx = 256;
    EXPECT_EQ(head_.AddPreset(locked), -1);
}

TEST_F(PtzHeadTest, CruisesUntilToldOtherwise) {
    Store(1, 4);  // pan 10
    Store(2, 4);  // pan 20
    __tagTvPtzCruiseParam cruise;
    cruise.cruiseIdx = 3;
    for (const int index : {1, 2}) {
        __tagTvPtzPresetParam stop;
        stop.presetIdx = index;
        stop.speed = 1;
        stop.presetDweelTime = 5;
        cruise.presets.push_back(stop);
    }
    EXPECT_EQ(head_.StartCruise(3), -1);
    EXPECT_EQ(head_.AddCruise(cruise), 0);
    EXPECT_EQ(head_.StartCruise(3), 0);
    Pass(1 + 4);  // arrived and resting
    EXPECT_DOUBLE_EQ(head_.Position().pan, 10);
    Pass(1 + 1);  // left and arrived
    EXPECT_DOUBLE_EQ(head_.Position().pan, 20);
    Pass(12 * 1000);  // whole rounds
    EXPECT_DOUBLE_EQ(head_.Position().pan, 20);
    EXPECT_EQ(head_.StopCruise(-1), 0);
    Pass(100);
    EXPECT_DOUBLE_EQ(head_.Position().pan, 20);

    __tagTvPtzCruiseParam found;
    EXPECT_EQ(head_.GetCruise(-1, found), 0);
    EXPECT_EQ(found.cruiseIdx, 3);
    EXPECT_EQ(found.presets.size(), 2U);
    EXPECT_EQ(head_.DelCruise(3), 0);
    EXPECT_EQ(head_.GetCruise(3, found), -1);
    EXPECT_EQ(head_.StopCruise(3), -1);
}

TEST_F(PtzHeadTest, RefusesUnusableCruises) {
    __tagTvPtzCruiseParam cruise;
    EXPECT_EQ(head_.AddCruise(cruise), 0);
    EXPECT_EQ(head_.StartCruise(0), -1) << "no stops";
    cruise.presets.resize(1);
    EXPECT_EQ(head_.AddCruise(cruise), -1) << "unknown preset";
    cruise.presets.clear();
    cruise.cruiseIdx = 32;
    EXPECT_EQ(head_.AddCruise(cruise), -1);
    EXPECT_EQ(head_.StartCruise(-1), -1);
}

}  // namespace
}  // namespace vms::mediafile
