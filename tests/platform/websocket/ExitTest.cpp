#include <gtest/gtest.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/FrameServer.h"

namespace vms::test {
namespace {

class Exit : public testing::TestWithParam<const char*> {};

TEST_P(Exit, EndsWithClientsStillOpen) {
    FrameServer server;
    ChildProcess program({EXIT_PROGRAM, GetParam(), std::to_string(server.Port())});
    const auto peer = server.AcceptUpgraded();
    ASSERT_NE(peer, nullptr);
    std::string line;
    ASSERT_TRUE(program.ReadLine(line, std::chrono::seconds(20)));
    EXPECT_EQ(program.WaitExit(std::chrono::seconds(20)), 0);
}

INSTANTIATE_TEST_SUITE_P(Ways, Exit, testing::Values("exit", "quick_exit"),
                         [](const auto& test) { return test.param; });

}  // namespace
}  // namespace vms::test
