#include "sim/httpdevice/PtzHead.h"

#include <gtest/gtest.h>

namespace vms::sim::httpdevice {
namespace {

using std::chrono::seconds;

const Clock::time_point kStart{seconds(1000)};

PtzPreset Preset(int index, int dwellSeconds = 0) {
    PtzPreset preset;
    preset.index = index;
    preset.dwellSeconds = dwellSeconds;
    return preset;
}

TEST(PtzHead, MovesUntilItIsStoppedAndKeepsWithinItsRange) {
    PtzHead head;
    ASSERT_TRUE(head.Move(kStart, "leftDown", 10));
    EXPECT_EQ(head.Position(kStart + seconds(2)).pan, 36'000 - 1800);
    EXPECT_EQ(head.Position(kStart + seconds(2)).tilt, -1800);
    EXPECT_EQ(head.Position(kStart + seconds(60)).tilt, -9000);
    head.Stop(kStart + seconds(3));
    EXPECT_EQ(head.Position(kStart + seconds(60)).tilt, -2700);
    ASSERT_TRUE(head.MoveLens(kStart + seconds(60), "zoom", true, 50));
    EXPECT_EQ(head.Position(kStart + seconds(61)).zoom, 600);
    EXPECT_EQ(head.Position(kStart + seconds(999)).zoom, 3000);
    EXPECT_FALSE(head.Move(kStart, "north", 10));
    EXPECT_FALSE(head.MoveLens(kStart, "mirror", true, 10));
}

TEST(PtzHead, CruiseVisitsItsStopsInTurn) {
    PtzHead head;
    head.StorePreset(kStart, Preset(1));
    head.Move(kStart, "right", 10);
    head.Stop(kStart + seconds(1));
    head.StorePreset(kStart + seconds(1), Preset(2));
    head.StoreCruise({3, 1, {Preset(1, 2), Preset(2, 3)}});
    head.StoreCruise({4, 1, {Preset(9, 1)}});
    head.StoreCruise({5, 1, {}});
    EXPECT_FALSE(head.StartCruise(kStart, 4)) << "a stop that is no preset";
    EXPECT_FALSE(head.StartCruise(kStart, 5)) << "no stops";
    ASSERT_TRUE(head.StartCruise(kStart, 3));
    for (const auto& [second, pan] : {std::pair{1, 0}, {3, 900}, {4, 900}, {6, 0}})
        EXPECT_EQ(head.Position(kStart + seconds(second)).pan, pan) << second;
    EXPECT_TRUE(head.RemoveCruise(kStart + seconds(3), 3));
    EXPECT_EQ(head.running(), -1);
    EXPECT_EQ(head.Position(kStart + seconds(6)).pan, 900) << "stays where it was";
}

}  // namespace
}  // namespace vms::sim::httpdevice
