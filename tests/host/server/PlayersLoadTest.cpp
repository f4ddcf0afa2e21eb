// Players that are slow, that die, that come and go in masses, and the end of the server.
#include <gmock/gmock-matchers.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <future>
#include <thread>

#include "tests/host/net/TestUnit.h"
#include "tests/host/server/HostServerFixture.h"

namespace {

using namespace std::chrono_literals;
using vms::host::test::TestUnit;
using vms::host::test::UnitNumber;
using vms::host::test::UnitType;
using vms::test::Gate;
using vms::test::TestPlayer;

using Clock = std::chrono::steady_clock;
using Player = std::unique_ptr<TestPlayer>;

constexpr int kSmallBuffer = 8192;

/// Over plain connections, or over TLS.
class PlayersLoadTest : public vms::host::test::HostServerFixture,
                        public testing::WithParamInterface<bool> {
protected:
    PlayersLoadTest() {
        if (GetParam())
            UseTls();
    }

    /// Sends until the player is given up. @return units taken, -1 = it never was
    int SendUntilGivenUp(long long id, const std::string& unit, bool isPlayback) {
        const auto deadline = Clock::now() + 20s;
        for (int taken = 0; Clock::now() < deadline; ++taken) {
            if (!SendData(id, unit, isPlayback))
                return taken;
        }
        return -1;
    }

    /// Every player's events: connect first, close last, each once.
    void ExpectWholeLives() {
        const auto lives = module_.All();
        for (const auto& [id, events] : lives) {
            EXPECT_EQ(events.front().rfind("connect", 0), 0U) << id;
            EXPECT_EQ(events.back(), "close") << id;
            EXPECT_EQ(std::count(events.begin(), events.end(), "close"), 1) << id;
        }
    }
};

std::string WireName(const testing::TestParamInfo<bool>& wire) {
    return wire.param ? "Tls" : "Plain";
}
INSTANTIATE_TEST_SUITE_P(Wires, PlayersLoadTest, testing::Bool(), WireName);

size_t CountEntries(const char* folder) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST_P(PlayersLoadTest, OneStalledPlayerAmongManyCostsTheOthersNothing) {
    constexpr size_t kPlayers = 150;
    vms::host::SendLimits limits;
    limits.liveBytes = 256 << 10;
    limits.patience = 500ms;
    Start(limits);
    std::vector<Player> players(kPlayers);
    for (Player& player : players)
        player = Watch();
    const Player stalled = Watch(kSmallBuffer);
    const long long relay = RelayNumber();
    const auto deadline = Clock::now() + 20s;
    for (int number = 0; server_->Summary().connected > kPlayers; ++number) {
        ASSERT_LT(Clock::now(), deadline) << "never given up";
        const std::string unit =
            TestUnit(number % 10 == 0 ? UnitType::kKey : UnitType::kPicture, number, 20'000);
        ASSERT_TRUE(SendData(relay, unit));
        for (size_t i = 0; i < kPlayers; ++i) {
            TestPlayer::Frame frame;
            ASSERT_TRUE(players[i]->Next(frame));
            ASSERT_TRUE(frame.payload == unit) << "player " << i << ", unit " << number;
        }
    }
    const vms::host::StreamSummary summary = server_->Summary();
    EXPECT_EQ(summary.slowPlayers, 1U);
    EXPECT_GT(summary.droppedUnits, 0U);
}

/// Several threads of a source, pings, players that leave and one that is closed, all at once.
TEST_P(PlayersLoadTest, BurstsMixWithOthersAndWithClosing) {
    constexpr int kUnits = 300;
    constexpr int kSenders = 2;
    vms::host::SendLimits limits;
    limits.liveUnits = 10'000;  // however slow the machine is
    limits.liveBytes = size_t{64} << 20;
    Start(limits);
    std::vector<Player> players(12);
    std::vector<long long> ids;
    for (Player& player : players) {
        player = Watch();
        ids.push_back(server_->Players().back().id);
    }
    const long long relay = RelayNumber();
    std::vector<std::thread> senders;
    for (int sender = 0; sender < kSenders; ++sender)
        senders.emplace_back([&, sender] {
            for (int i = 0; i < kUnits; ++i)
                SendData(relay, TestUnit(UnitType::kSound, sender * kUnits + i, 5000));
        });
    std::thread closer([&] {
        for (size_t i = 0; i < players.size(); i += 3)
            Streams().CloseConnection(ids[i]);
    });
    std::vector<std::thread> readers;
    for (size_t i = 0; i < players.size(); ++i)
        readers.emplace_back([&, i] {
            int next[kSenders] = {};
            TestPlayer::Frame frame;
            for (int got = 0; got < kSenders * kUnits;) {
                if (i == 1)
                    players[i]->Send(TestPlayer::kPing, "p");
                const bool more = players[i]->Next(frame);
                if (i % 3 == 0 && (!more || frame.opcode == TestPlayer::kClose))
                    return;
                ASSERT_TRUE(more) << "player " << i;
                if (frame.opcode == TestPlayer::kPong)
                    continue;
                const int number = UnitNumber(frame.payload);
                ASSERT_TRUE(frame.payload == TestUnit(UnitType::kSound, number, 5000));
                ASSERT_EQ(next[number / kUnits]++, number % kUnits) << "player " << i;
                ++got;
            }
        });
    for (auto* threads : {&senders, &readers}) {
        for (std::thread& thread : *threads)
            thread.join();
    }
    closer.join();
    EXPECT_TRUE(WaitForPlayers(8));
}

TEST_P(PlayersLoadTest, ASlowLivePlayerGetsWholeFramesFromKeyPictureOn) {
    vms::host::SendLimits limits;
    limits.liveUnits = 20;
    limits.patience = 1h;
    Start(limits);
    Player player;
    const long long id = Connect(player, kSmallBuffer);
    const auto send = [&](int number) {
        ASSERT_TRUE(SendData(
            id, TestUnit(number % 10 == 0 ? UnitType::kKey : UnitType::kPicture, number, 20'000)));
    };
    int last = 0;
    for (; server_->Summary().droppedUnits < 15; ++last)
        send(last);
    std::vector<int> got;
    TestPlayer::Frame frame;
    while (Streams().QueryDataCount(id) > 0) {
        ASSERT_TRUE(player->Next(frame));
        got.push_back(UnitNumber(frame.payload));
    }
    for (const int end = last + 20; last < end; ++last)
        send(last);
    while (got.empty() || got.back() != last - 1) {
        ASSERT_TRUE(player->Next(frame));
        got.push_back(UnitNumber(frame.payload));
        ASSERT_EQ(frame.payload.size(), 20'000U);
    }
    int gaps = 0;
    for (size_t i = 1; i < got.size(); ++i) {
        if (got[i] != got[i - 1] + 1) {
            EXPECT_EQ(got[i] % 10, 0) << "after " << got[i - 1];
            ++gaps;
        }
    }
    EXPECT_EQ(gaps, 1);
    EXPECT_EQ(static_cast<uint64_t>(last) - got.size(), server_->Summary().droppedUnits);
}

TEST_P(PlayersLoadTest, PlaybackIsNeverDroppedButBounded) {
    vms::host::SendLimits limits;
    limits.liveBytes = 1;
    limits.wholeBytes = 4 << 20;
    Start(limits);
    Player player;
    const long long id = Connect(player, kSmallBuffer);
    for (int number = 0; number < 150; ++number)
        ASSERT_TRUE(SendData(id, TestUnit(UnitType::kPicture, number, 20'000), true));
    EXPECT_GT(Streams().QueryDataCount(id), 0);
    TestPlayer::Frame frame;
    for (int number = 0; number < 150; ++number) {
        ASSERT_TRUE(player->Next(frame));
        ASSERT_EQ(UnitNumber(frame.payload), number);
    }
    EXPECT_GT(SendUntilGivenUp(id, TestUnit(UnitType::kPicture, 0, 20'000), true), 200);
    ASSERT_TRUE(module_.WaitFor("close", 1));
    EXPECT_EQ(server_->Summary().droppedUnits, 0U);
    EXPECT_EQ(server_->Summary().slowPlayers, 1U);
}

TEST_P(PlayersLoadTest, APlayerThatDiesInTheMiddleOfAFrameIsGone) {
    vms::host::SendLimits limits;
    limits.patience = 1h;
    Start(limits);
    Player player;
    const long long id = Connect(player, kSmallBuffer);
    const std::string unit = TestUnit(UnitType::kKey, 0, 100'000);
    while (Streams().QueryDataCount(id) < 3)
        ASSERT_TRUE(SendData(id, unit));
    player->Socket().Reset();
    EXPECT_NE(SendUntilGivenUp(id, unit, false), -1);
    ASSERT_TRUE(module_.WaitFor("close", 1));
    EXPECT_EQ(server_->Summary().slowPlayers, 0U);
    ExpectWholeLives();
}

TEST_P(PlayersLoadTest, PlayersThatComeAndGoLeaveNothingBehind) {
    constexpr size_t kRounds = 200;
    constexpr size_t kIoThreads = 4;  ///< at most, each with a loop from its first socket on
    Start();
    const auto round = [this](size_t number) {
        Player player;
        const long long id = Connect(player);
        EXPECT_TRUE(SendData(id, TestUnit(UnitType::kKey, 0, 1000)));
        TestPlayer::Frame frame;
        EXPECT_TRUE(player->Next(frame));
        if (number % 3 == 0)
            player->Socket().Reset();
        else if (number % 3 == 1)
            Streams().CloseConnection(id);
        player.reset();
        return module_.WaitFor("close", number + 1) && WaitForPlayers(0);
    };
    for (size_t number = 0; number < kIoThreads; ++number)
        ASSERT_TRUE(round(number));
    const size_t descriptors = CountEntries("/proc/self/fd");
    const size_t threads = CountEntries("/proc/self/task");
    uint64_t sent = 0;
    for (size_t number = kIoThreads; number < kRounds; ++number) {
        ASSERT_TRUE(round(number));
        EXPECT_GE(server_->Summary().sentUnits, sent) << "a count went back";
        sent = server_->Summary().sentUnits;
    }
    EXPECT_EQ(CountEntries("/proc/self/fd"), descriptors);
    EXPECT_LT(CountEntries("/proc/self/task"), threads + 16) << "more than there are lanes";
    server_->Stop();
    EXPECT_TRUE(server_->Players().empty());
    EXPECT_EQ(server_->Summary().sentUnits, kRounds);
    ExpectWholeLives();
}

TEST_P(PlayersLoadTest, StopWaitsForABusyModuleWhilePlayersStillCome) {
    Gate gate;
    module_.onRequest = [&](long long, const __tagTvCommand& request) {
        return request.deviceId != "waits" || gate.Wait() ? 0 : -1;
    };
    Start();
    std::atomic<bool> stopped{false};
    std::vector<std::thread> comers;
    for (int i = 0; i < 3; ++i)
        comers.emplace_back([this, &stopped] {
            while (!stopped) {
                try {
                    NewPlayer()->Ask(TV_STREAM_PLAYBACK_START, "k");
                } catch (const std::runtime_error&) {  // nobody listens any more
                }
            }
        });
    const Player busy = NewPlayer();
    ASSERT_TRUE(busy->SendRequest(TV_STREAM_PLAYBACK_START, "waits"));
    ASSERT_TRUE(module_.WaitFor("close", 10));
    auto stop = std::async(std::launch::async, [this] { server_->Stop(); });
    std::string rest;
    EXPECT_TRUE(busy->Socket().ReadToEnd(rest));  // closed already, though its module is busy
    EXPECT_EQ(stop.wait_for(0s), std::future_status::timeout);
    gate.Open();
    ASSERT_EQ(stop.wait_for(20s), std::future_status::ready);
    stopped = true;
    for (std::thread& comer : comers)
        comer.join();
    EXPECT_TRUE(server_->Players().empty());
    ExpectWholeLives();
    EXPECT_EQ(module_.All().size(), server_->Summary().players);
}

}  // namespace
