// The same bytes to sockets that take all of it, a part, nothing, or are dead.
#include "host/net/SendRing.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

namespace {

using vms::host::SendRing;

/// Two ends of a stream, the near one with a small buffer.
struct Pair {
    Pair() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        const int small = 4096;
        setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    }
    ~Pair() {
        close(ends[0]);
        HangUp();
    }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    void HangUp() {
        if (ends[1] >= 0)
            close(ends[1]);
        ends[1] = -1;
    }

    std::string Received() const {
        std::string bytes(1 << 20, '\0');
        const ssize_t count = recv(ends[1], bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
        return bytes;
    }

    int ends[2] = {-1, -1};
};

class SendRingTest : public testing::TestWithParam<bool> {};

TEST_P(SendRingTest, TellsWhatEachSocketHasTaken) {
    SendRing ring(GetParam());
    if (ring.Batched() != GetParam())
        GTEST_SKIP() << "the kernel has no io_uring for us";
    const std::string full(100'000, 'x');
    for (int round = 0; round < 3; ++round) {
        Pair ready;
        Pair stalled;
        Pair dead;
        while (send(stalled.ends[0], full.data(), full.size(), MSG_DONTWAIT) > 0) {
        }
        dead.HangUp();
        std::vector<ssize_t> taken;
        const std::string text = "round " + std::to_string(round);
        ring.Send({stalled.ends[0], ready.ends[0], dead.ends[0]}, text, taken);
        EXPECT_EQ(taken, (std::vector<ssize_t>{0, static_cast<ssize_t>(text.size()), -1}));
        EXPECT_EQ(ready.Received(), text);
    }
}

TEST_P(SendRingTest, FillsABatch) {
    SendRing ring(GetParam());
    std::vector<Pair> pairs(SendRing::kBatch);
    std::vector<int> sockets;
    for (const Pair& pair : pairs)
        sockets.push_back(pair.ends[0]);
    std::vector<ssize_t> taken;
    for (const std::string text : {"one", "another"}) {
        ring.Send(sockets, text, taken);
        EXPECT_EQ(taken, std::vector<ssize_t>(SendRing::kBatch, static_cast<ssize_t>(text.size())));
        for (const Pair& pair : pairs)
            EXPECT_EQ(pair.Received(), text);
    }
    ring.Send({}, "nobody", taken);
    EXPECT_TRUE(taken.empty());
}

INSTANTIATE_TEST_SUITE_P(Ways, SendRingTest, testing::Bool(),
                         [](const auto& way) { return way.param ? "Batched" : "OneByOne"; });

}  // namespace
