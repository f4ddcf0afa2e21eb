#include <dirent.h>

#include <memory>

#include "tests/drivers/httpdevice/FamilyFixture.h"

namespace vms::httpdevice {
namespace {

class ManyDevicesTest : public FamilyFixture {};

int ThreadCount() {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/self/task"), &closedir);
    int count = 0;
    while (folder != nullptr && readdir(folder.get()) != nullptr)
        ++count;
    return count;
}

TEST_F(ManyDevicesTest, TwoHundredOfWhichMostAreDown) {
    constexpr size_t kUp = 50;
    const int threadsBefore = ThreadCount();
    const HttpDevsim sim(
        {"--count", "200", "--fault", "50-124:refused", "--fault", "125-199:halfOpen"});
    Init("connectTimeoutMs=1000 requestTimeoutMs=1000");
    std::vector<std::shared_ptr<IVideoDevice>> devices;
    for (size_t i = 0; i < sim.Count(); ++i)
        devices.push_back(Make(sim.Device(i)));
    ASSERT_EQ(devices.size(), 200U);
    for (size_t i = 0; i < devices.size(); ++i)
        EXPECT_EQ(devices[i]->GetDevSessionId().empty(), i >= kUp) << i;
    EXPECT_LT(ThreadCount(), threadsBefore + 10) << "no thread per device";
    for (size_t i = 0; i < devices.size(); ++i)
        EXPECT_EQ(devices[i]->PtzGetSpeed(0) >= 0, i < kUp) << i;
    sim.ClearFaults(60);
    sim.ClearFaults(160);
    EXPECT_TRUE(Eventually([&] { return Works(*devices[60]); })) << "comes back";
    EXPECT_TRUE(Eventually([&] { return Works(*devices[160]); })) << "comes back";
}

TEST_F(ManyDevicesTest, NothingGoesOnAfterTheEnd) {
    const HttpDevsim sim({"--count", "2", "--fault", "1:silent"});
    const auto up = Make(sim.Device(0));
    const auto silent = Make(sim.Device(1));
    ASSERT_TRUE(Works(*up));
    EXPECT_EQ(factory_.UnInit(), 0);
    EXPECT_TRUE(Eventually([&] { return sim.State(0)["sessions"] == 0; })) << "logs out";
    EXPECT_FALSE(Works(*up));
    EXPECT_EQ(factory_.CreatePreviewServer(up.get(), -1, nullptr), nullptr);
    EXPECT_EQ(Make(sim.Device(0)), nullptr);
    Init("");
    EXPECT_TRUE(Works(*Make(sim.Device(0))));
}

}  // namespace
}  // namespace vms::httpdevice
