// The platform library from outside, where none of its own names can be seen.
#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <stdexcept>
#include <typeinfo>

#include "platform/CreateCommandBusInstance.h"
#include "platform/ILogHandler.h"
#include "platform/IWebSocketClient.h"
#include "tests/support/BusProbe.h"

namespace {

class LastLine final : public ILogHandler {
public:
    void SetLevel(int) override {}
    void Log(int, const char*, const char* format, ...) override {
        va_list arguments;
        va_start(arguments, format);
        char line[256];
        std::vsnprintf(line, sizeof line, format, arguments);
        va_end(arguments);
        vms::MutexLock lock(mutex_);
        line_ = line;
    }
    std::string Text() {
        vms::MutexLock lock(mutex_);
        return line_;
    }

private:
    vms::Mutex mutex_;
    std::string line_ VMS_GUARDED_BY(mutex_);
};

struct OwnError final : std::runtime_error {
    OwnError() : std::runtime_error("an error of this side") {}
};

TEST(PlatformLibrary, KnowsTheTypesOfTheOtherSideAndShowsItsOwn) {
    LastLine log;
    vms::SetCommandBusLog(&log);
    ICommandBus* const bus = CreateCommandBusInstance();
    bus->RegisterCommand("outside", TV_CMD_GET_CAPABILITY,
                         [](__tagTvCommand*) { throw OwnError(); });
    EXPECT_TRUE(vms::test::Ask("outside", TV_CMD_GET_CAPABILITY, "", "").threw);
    vms::SetCommandBusLog(nullptr);
    EXPECT_THAT(log.Text(), testing::HasSubstr("an error of this side"));
    EXPECT_TRUE(bus->UnregisterModule("outside"));

    IWebSocketClient* const client = CreateWebSocketClient();
    EXPECT_NE(typeid(*client), typeid(IWebSocketClient));
    EXPECT_EQ(dynamic_cast<LastLine*>(client), nullptr);
    EXPECT_NE(dynamic_cast<void*>(client), nullptr);
    client->Release();
}

}  // namespace
