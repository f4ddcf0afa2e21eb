// Players over HTTP and the server they come to, with a module that is played by the test.
#include "host/players/http/HttpPlayers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "media/LibavLog.h"
#include "platform/CreateCommandBusInstance.h"
#include "tests/host/server/HostServerFixture.h"
#include "tests/media/ClipUnits.h"
#include "tests/support/TestHttp.h"

namespace {

using namespace vms::host;
using namespace vms::host::test;
using vms::MediaUnit;
using vms::MediaUnitHeader;
using vms::test::ClipFolder;

constexpr size_t kPacket = 188;

/// Checks the counters of a transport stream as they come.
class Continuity {
public:
    void Take(std::string_view bytes) {
        rest_ += bytes;
        size_t at = 0;
        for (; at + kPacket <= rest_.size(); at += kPacket)
            TakePacket(std::string_view(rest_).substr(at, kPacket));
        rest_.erase(0, at);
    }

    int packets = 0;
    int breaks = 0;  ///< where something is missing
    int gaps = 0;    ///< where that has been told

private:
    void TakePacket(std::string_view packet) {
        const auto byte = [&](size_t i) { return static_cast<unsigned char>(packet[i]); };
        EXPECT_EQ(byte(0), 0x47);
        ++packets;
        const int pid = (byte(1) & 0x1f) << 8 | byte(2);
        const int counter = byte(3) & 0xf;
        const bool hasPayload = (byte(3) & 0x10) != 0;
        const bool isGap = (byte(3) & 0x20) != 0 && byte(4) > 0 && (byte(5) & 0x80) != 0;
        const auto last = last_.find(pid);
        const int expected =
            last == last_.end() ? counter : (last->second + (hasPayload ? 1 : 0)) & 0xf;
        breaks += expected != counter && !isGap ? 1 : 0;
        gaps += isGap ? 1 : 0;
        last_[pid] = counter;
    }

    std::string rest_;
    std::map<int, int> last_;
};

class HttpPlayersTest : public HostServerFixture {
protected:
    static void SetUpTestSuite() {
        vms::SilenceLibav();
        const ClipFolder folder;
        using namespace vms::test;
        units_ = UnitsOf(folder.Make("clip.mp4", 2, "320x180", H264(), Aac()));
    }

    HttpPlayersTest() {
        Bus().RegisterCommand("m", TV_CMD_GET_PREVIEW_URL, [](__tagTvCommand* request) {
            __tagTvCommand* answer =
                SysCommandHelper::CreateResponseCommand(request, 1, R"({"uri": "live"})");
            Bus().SendResponse(answer);
            SysCommandHelper::ReleaseCommand(answer);
        });
    }

    ~HttpPlayersTest() override {
        if (players_ != nullptr)
            players_->Stop();
        if (server_ != nullptr)
            server_->Stop();
        players_.reset();
        server_.reset();
        Bus().UnregisterModule("m");
    }

    static ICommandBus& Bus() { return *CreateCommandBusInstance(); }

    void Begin(const SendLimits& limits = {}) {
        server_ = std::make_unique<HostServer>(Anywhere(), log_, limits);
        server_->Attach({&module_}, devices_);
        players_ = std::make_unique<HttpPlayers>(server_->Context(), SpoolSettings{"/tmp"});
        HttpRouter router;
        players_->AddTo(router);
        server_->Start(std::move(router));
    }

    template <class Condition>
    static bool Eventually(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::yield();
        }
        return true;
    }

    /// A client that has asked and is heard of as watching or waiting.
    std::unique_ptr<TestSocket> Ask(const std::string& path, int receiveBuffer = 0) {
        auto client = std::make_unique<TestSocket>(Port(), receiveBuffer);
        const size_t before = Watchers();
        client->Send("GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_TRUE(Eventually([&] { return Watchers() == before + 1; })) << path;
        return client;
    }

    void Play(const std::vector<MediaUnit>& units, uint32_t from = 0) {
        for (const MediaUnit& unit : units) {
            const MediaUnit later = vms::test::At(unit, unit.Header().timestampMs + from);
            EXPECT_TRUE(SendData(RelayNumber(), std::string(later.Bytes())));
        }
    }

    static MediaUnit Jpeg() {
        MediaUnitHeader header;
        header.frameType = static_cast<uint8_t>(vms::FrameType::kKey);
        header.codec = static_cast<uint8_t>(vms::VideoCodec::kJpeg);
        std::string bytes(vms::kMediaHeaderSize, '\0');
        vms::WriteMediaHeader(header, bytes.data());
        return MediaUnit::Copy(bytes + "\xff\xd8\xff picture \xff\xd9");
    }

    static std::vector<MediaUnit> units_;
    std::unique_ptr<HttpPlayers> players_;
};

std::vector<MediaUnit> HttpPlayersTest::units_;

TEST_F(HttpPlayersTest, OnePullForAllWhoBeginWithTheNewestGroup) {
    Begin();
    auto first = Ask("/live/hall/0.mp4");
    ASSERT_TRUE(module_.WaitFor("request", 1));
    Play(units_);
    std::string head;
    ASSERT_TRUE(first->ReadUntil("\r\n\r\n", head));
    EXPECT_NE(head.find(" 200 "), std::string::npos);
    std::string begin;
    ASSERT_TRUE(first->ReadUntil("moof", begin));
    EXPECT_NE(begin.find("ftyp"), std::string::npos);

    auto second = Ask("/live/hall/0.ts");  // nothing comes any more but what is kept
    ASSERT_TRUE(second->ReadUntil("\r\n\r\n", head));
    Continuity continuity;
    std::string packet;
    for (int i = 0; i < 60; ++i) {
        ASSERT_TRUE(second->Read(kPacket, packet));
        continuity.Take(packet);
    }
    EXPECT_EQ(continuity.breaks, 0);

    auto players = server_->Players();
    ASSERT_EQ(players.size(), 2);
    EXPECT_EQ(players[0].kind, "mp4");
    EXPECT_EQ(players[1].kind, "ts");
    EXPECT_EQ(players[1].device, "hall");
    EXPECT_GT(players[1].counts.sentUnits, 25);
    first.reset();
    second.reset();
    ASSERT_TRUE(module_.WaitFor("close", 1)) << "the relay's end";
    EXPECT_TRUE(Eventually([&] { return server_->Players().empty(); }));
    EXPECT_EQ(module_.All().size(), 1) << "one pull";
}

/// Groups are left out as a whole for the slow one, who is told so; the others lose nothing.
TEST_F(HttpPlayersTest, AStalledPlayerLosesGroupsAndOthersNothing) {
    SendLimits limits;
    limits.liveBytes = size_t{1} << 20;
    limits.patience = std::chrono::seconds(60);
    Begin(limits);
    auto stalled = Ask("/live/hall/0.ts", 4096);
    ASSERT_TRUE(module_.WaitFor("request", 1));
    Play(units_);
    std::vector<Continuity> seen(4);
    std::vector<std::thread> readers;
    std::atomic<bool> ends{false};
    for (auto& continuity : seen) {
        readers.emplace_back([&, client = Ask("/live/hall/0.ts")] {
            std::string head;
            std::string packet;
            EXPECT_TRUE(client->ReadUntil("\r\n\r\n", head));
            while (!ends && client->Read(kPacket, packet))
                continuity.Take(packet);
        });
    }
    uint32_t time = 0;
    const auto dropped = [this] { return server_->Players().front().counts.droppedUnits; };
    while (dropped() < 100 && time < 4'000'000) {
        Play(units_, time += 2000);
        EXPECT_TRUE(Eventually([this] {
            const auto players = server_->Players();
            return std::all_of(players.begin() + 1, players.end(), [](const PlayerInfo& player) {
                return player.counts.queuedBytes == 0;
            });
        }));
    }
    EXPECT_GE(dropped(), 100);
    EXPECT_LE(server_->Players().front().counts.queuedBytes, limits.liveBytes + 200'000);
    Continuity slow;
    std::string bytes;
    ASSERT_TRUE(stalled->ReadUntil("\r\n\r\n", bytes));
    while (slow.gaps == 0 && slow.breaks == 0) {
        const bool isThere = server_->Players().front().counts.queuedBytes > 0;
        if (!isThere)
            Play(units_, time += 2000);
        ASSERT_TRUE(stalled->Read(kPacket, bytes));
        slow.Take(bytes);
    }
    EXPECT_EQ(slow.breaks, 0);
    EXPECT_GT(slow.gaps, 0);
    ends = true;
    Play(units_, time += 2000);
    for (std::thread& reader : readers)
        reader.join();
    for (const Continuity& continuity : seen) {
        EXPECT_GT(continuity.packets, 1000);
        EXPECT_EQ(continuity.breaks + continuity.gaps, 0);
    }
}

TEST_F(HttpPlayersTest, WhoNeverReadsIsClosed) {
    SendLimits limits;
    limits.liveBytes = size_t{64} << 10;
    limits.patience = std::chrono::milliseconds(200);
    Begin(limits);
    auto stalled = Ask("/live/hall/0.mp4", 4096);
    ASSERT_TRUE(module_.WaitFor("request", 1));
    uint32_t time = 0;
    EXPECT_TRUE(Eventually([&] {
        time += 2000;
        for (const MediaUnit& unit : units_) {  // nobody takes them once it has been closed
            const MediaUnit later = vms::test::At(unit, unit.Header().timestampMs + time);
            SendData(RelayNumber(), std::string(later.Bytes()));
        }
        return server_->Summary().slowPlayers == 1;
    }));
    EXPECT_TRUE(Eventually([&] { return server_->Players().empty(); }));
}

TEST_F(HttpPlayersTest, WhatNoContainerHoldsIsRefused) {
    Begin();
    auto client = Ask("/live/hall/0.mp4");
    ASSERT_TRUE(module_.WaitFor("request", 1));
    Play({Jpeg()});
    std::string head;
    ASSERT_TRUE(client->ReadUntil("\r\n\r\n", head));
    EXPECT_NE(head.find(" 415 "), std::string::npos);
    EXPECT_TRUE(Eventually([&] { return server_->Players().empty(); }));
}

TEST_F(HttpPlayersTest, AStreamThatEndsEndsItsPlayers) {
    Begin();
    auto watching = Ask("/live/hall/0.ts");
    ASSERT_TRUE(module_.WaitFor("request", 1));
    Play(units_);
    std::string head;
    ASSERT_TRUE(watching->ReadUntil("\r\n\r\n", head));
    Streams().CloseConnection(RelayNumber());
    std::string rest;
    EXPECT_TRUE(watching->ReadToEnd(rest));
    EXPECT_TRUE(Eventually([&] { return server_->Players().empty(); }));
}

TEST_F(HttpPlayersTest, SnapshotsAreMadeOncePerKeyPicture) {
    Begin();
    std::vector<std::unique_ptr<TestHttp>> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(std::make_unique<TestHttp>(Port()));
        clients.back()->Send("GET", "/live/hall/0.jpg?width=64");
    }
    EXPECT_TRUE(Eventually([&] { return Watchers() == clients.size(); }));
    Play(units_);
    std::set<std::string> pictures;
    for (const auto& client : clients) {
        const TestResponse answer = client->Read();
        EXPECT_EQ(answer.status, 200);
        pictures.insert(answer.body);
    }
    EXPECT_EQ(pictures.size(), 1);
}

}  // namespace
