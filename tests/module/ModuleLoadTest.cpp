// The library as a host meets it: loaded, driven and unloaded, twice in one process.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>

#include "module/IModule.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/ILogHandler.h"
#include "tests/support/BusProbe.h"

namespace {

class CountingLog final : public ILogHandler {
public:
    void SetLevel(int) override {}
    void Log(int, const char*, const char*, ...) override { ++lines; }
    std::atomic<int> lines{0};
};

bool IsLoaded() {
    void* handle = dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr)
        dlclose(handle);
    return handle != nullptr;
}

TEST(ModuleLibrary, LoadsWorksAndUnloadsTwiceInOneProcess) {
    CountingLog log;
    for (int round = 0; round < 2; ++round) {
        void* library = dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        using Entry = IModule* (*)();
        const auto entry = reinterpret_cast<Entry>(dlsym(library, "GetModuleInstance"));
        ASSERT_NE(entry, nullptr);
        IModule* module = entry();
        ASSERT_NE(module, nullptr);
        EXPECT_EQ(entry(), module);
        EXPECT_EQ(module->OnTimer(), 0);
        EXPECT_EQ(module->UnInit(), 0) << "without Init";
        module->InitP2PInfo("ignored");

        ASSERT_TRUE(module->Init("loaded", nullptr));
        // No sink yet: nothing is logged and nothing fails.
        const std::string unreachable = R"({"ip": "127.0.0.1", "port": 1})";
        EXPECT_EQ(vms::test::Ask("loaded", TV_CMD_DEVICE_TEST, "", unreachable).answers.size(), 1U);
        module->SetCallback(&log);
        EXPECT_EQ(vms::test::Ask("loaded", TV_CMD_DEVICE_TEST, "", unreachable).answers.size(), 1U);
        EXPECT_EQ(log.lines, round + 1);

        EXPECT_EQ(module->UnInit(), 0);
        module->SetCallback(nullptr);
        EXPECT_TRUE(CreateCommandBusInstance()->UnregisterModule("loaded"));
        EXPECT_EQ(dlclose(library), 0);
        EXPECT_FALSE(IsLoaded());
    }
}

}  // namespace
