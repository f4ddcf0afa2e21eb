// How many streams a client may open that nobody watches, on a clock of the test's own.
#include "host/api/UnwatchedStreams.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using vms::host::UnwatchedStreams;

UnwatchedStreams::Clock::time_point theTime;

TEST(UnwatchedStreams, HaveABoundForEachClientAndForAll) {
    UnwatchedStreams streams({.perClient = 2, .inAll = 3, .lifetime = 15s}, [] { return theTime; });
    const uint64_t first = streams.Open("a");
    const uint64_t second = streams.Open("a");
    ASSERT_NE(first, 0U);
    ASSERT_NE(second, 0U);
    EXPECT_EQ(streams.Open("a"), 0U);
    streams.Opened(first, "k1");
    streams.Opened(second, "");  // refused: nothing was opened
    theTime += 10s;
    const uint64_t third = streams.Open("a");
    ASSERT_NE(third, 0U);
    streams.Opened(third, "k1");  // the same stream again
    const uint64_t fourth = streams.Open("a");
    ASSERT_NE(fourth, 0U);
    streams.Opened(fourth, "k2");
    EXPECT_NE(streams.Open("b"), 0U);
    EXPECT_EQ(streams.Open("c"), 0U) << "too many in all";
    streams.Watched("k1");
    EXPECT_NE(streams.Open("c"), 0U);
    EXPECT_EQ(streams.Open("a"), 0U) << "too many in all";
    theTime += 15s;
    EXPECT_NE(streams.Open("a"), 0U) << "the module has given them up by now";
    EXPECT_NE(streams.Open("a"), 0U);
}

}  // namespace
