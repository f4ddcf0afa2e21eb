#include <gtest/gtest.h>

#include <cstring>

#include "platform/ReusableBuffer.h"
#include "platform/websocket/ConnectionRequest.h"
#include "platform/websocket/KeepAlive.h"

namespace vms {
namespace {

using std::chrono::seconds;

TEST(KeepAlive, PingsAfterSilenceAndGivesUpAfterMore) {
    KeepAlive keepAlive(seconds(10), seconds(10));
    const KeepAlive::Clock::time_point start{seconds(100)};
    keepAlive.Heard(start);

    KeepAlive::Step step = keepAlive.Look(start + seconds(7));
    EXPECT_EQ(step.action, KeepAlive::Action::kWait);
    EXPECT_EQ(step.nextLook, seconds(3));
    step = keepAlive.Look(start + seconds(10));
    EXPECT_EQ(step.action, KeepAlive::Action::kPing);
    EXPECT_EQ(step.nextLook, seconds(10));
    EXPECT_EQ(keepAlive.Look(start + seconds(19)).action, KeepAlive::Action::kWait);
    EXPECT_EQ(keepAlive.Look(start + seconds(20)).action, KeepAlive::Action::kGiveUp);
}

TEST(KeepAlive, AnythingHeardStartsOver) {
    KeepAlive keepAlive(seconds(10), seconds(5));
    const KeepAlive::Clock::time_point start{seconds(100)};
    keepAlive.Heard(start);
    EXPECT_EQ(keepAlive.Look(start + seconds(10)).action, KeepAlive::Action::kPing);
    keepAlive.Heard(start + seconds(12));
    const KeepAlive::Step step = keepAlive.Look(start + seconds(15));
    EXPECT_EQ(step.action, KeepAlive::Action::kWait);
    EXPECT_EQ(step.nextLook, seconds(7));
}

TEST(ReusableBuffer, GrowsKeepingWhatIsAsked) {
    ReusableBuffer buffer;
    std::memcpy(buffer.Reserve(4), "abcd", 4);
    const char* const grown = buffer.Reserve(100'000, 4);
    EXPECT_EQ(std::string_view(grown, 4), "abcd");
    EXPECT_GE(buffer.Capacity(), 100'000u);
    EXPECT_EQ(buffer.Reserve(50'000), grown);
}

TEST(ReusableBuffer, ShrinksAfterALongRunOfSmallUsesOnly) {
    ReusableBuffer buffer;
    const auto use = [&](size_t size) {
        buffer.Reserve(size);
        buffer.EndUse(size);
    };
    use(1'000'000);
    const size_t large = buffer.Capacity();
    for (int i = 0; i < 3 * ReusableBuffer::kWindow; ++i)
        use(i % 50 == 0 ? 1'000'000 : 1000);
    EXPECT_EQ(buffer.Capacity(), large);
    for (int i = 0; i < 2 * ReusableBuffer::kWindow; ++i)
        use(1000);
    EXPECT_LE(buffer.Capacity(), ReusableBuffer::kSmall);
}

TEST(ConnectionRequest, AddressesOfAllKindsMakeAHostField) {
    const auto authority = [](const char* host) {
        return MakeConnectionRequest(host, 80, "", "", 1, false)->Authority();
    };
    EXPECT_EQ(authority("camera.local"), "camera.local:80");
    EXPECT_EQ(authority("::1"), "[::1]:80");
    EXPECT_EQ(authority("[fe80::1%eth0]"), "[fe80::1]:80");
}

}  // namespace
}  // namespace vms
