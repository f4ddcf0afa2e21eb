// Players and modules around the server: what each hears of the other.
#include <gmock/gmock-matchers.h>

#include <stdexcept>

#include "platform/Json.h"
#include "tests/host/net/TestUnit.h"
#include "tests/host/server/HostServerFixture.h"

namespace {

using testing::ElementsAre;
using vms::host::test::FakeStreamModule;
using vms::host::test::TestUnit;
using vms::host::test::UnitNumber;
using vms::host::test::UnitType;
using vms::test::Gate;
using vms::test::TestPlayer;
using vms::test::TestSocket;

using PlayersTest = vms::host::test::HostServerFixture;

Json::Value Parse(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(vms::ParseJson(text.c_str(), value)) << text;
    return value;
}

TEST_F(PlayersTest, APlayersLifeFromConnectToClose) {
    Start();
    std::unique_ptr<TestPlayer> player;
    const long long id = Connect(player);
    EXPECT_EQ(server_->Players()[0].key, "key");

    TestPlayer::Frame frame;
    const std::string unit = TestUnit(UnitType::kKey, 7, 70'000);
    EXPECT_TRUE(SendData(id, unit));
    ASSERT_TRUE(player->Next(frame));
    EXPECT_EQ(frame.opcode, TestPlayer::kBinary);
    EXPECT_TRUE(frame.payload == unit);

    __tagTvCommand* message = SysCommandHelper::CreateRequestCommand(TV_CMD_SOURCE_MESSAGE, "fake",
                                                                     "key", "\"hi\"\x80", "");
    EXPECT_EQ(Streams().SendCommand(id, message), 0);
    SysCommandHelper::ReleaseCommand(message);
    ASSERT_TRUE(player->Next(frame));
    EXPECT_EQ(frame.opcode, TestPlayer::kText);
    EXPECT_EQ(Parse(frame.payload)["cmd"], 1049232);
    EXPECT_EQ(Parse(frame.payload)["key"], "key");
    EXPECT_EQ(Parse(frame.payload)["body"].asString().substr(0, 4), "\"hi\"");

    EXPECT_TRUE(player->Send(TestPlayer::kPing, "are you there"));
    ASSERT_TRUE(player->Next(frame));
    EXPECT_EQ(frame.opcode, TestPlayer::kPong);
    EXPECT_EQ(frame.payload, "are you there");

    EXPECT_TRUE(player->Send(TestPlayer::kBinary, "talk"));
    EXPECT_TRUE(player->SendRequest(TV_STREAM_PREVIEW_STOP, "key", "last"));
    ASSERT_TRUE(player->Next(frame));
    Streams().CloseConnection(id);
    ASSERT_TRUE(player->Next(frame));
    EXPECT_EQ(frame.opcode, TestPlayer::kClose);
    EXPECT_TRUE(player->Send(TestPlayer::kClose, frame.payload.substr(0, 2)));
    ASSERT_TRUE(module_.WaitFor("close", 1));
    EXPECT_THAT(module_.All()[id], ElementsAre("connect 127.0.0.1", "request 1049090 key ",
                                               "media talk", "request 1049089 key last", "close"));
    // There until the module has come back from hearing it.
    EXPECT_TRUE(WaitForPlayers(0));
    EXPECT_FALSE(SendData(id, unit));
    EXPECT_EQ(Streams().SendData(id, nullptr, 5, false), -1);
    EXPECT_EQ(Streams().QueryDataCount(id), -1);
}

TEST_F(PlayersTest, AllWhoWatchALiveStreamShareOneRelay) {
    Start();
    const auto send = [this](UnitType type, int number) {
        EXPECT_TRUE(SendData(RelayNumber(), TestUnit(type, number, 1000)));
    };
    const auto expect = [](TestPlayer& player, int from, int to) {
        TestPlayer::Frame frame;
        for (int number = from; number <= to; ++number) {
            ASSERT_TRUE(player.Next(frame));
            ASSERT_EQ(UnitNumber(frame.payload), number);
        }
    };
    auto first = Watch();
    auto second = Watch();
    const long long relay = RelayNumber();
    ASSERT_GT(relay, 0);
    for (int number = 0; number < 8; ++number)
        send(number % 5 == 0 ? UnitType::kKey : UnitType::kPicture, number);
    auto late = Watch();
    send(UnitType::kPicture, 8);
    for (TestPlayer* player : {first.get(), second.get()})
        expect(*player, 0, 8);
    expect(*late, 5, 8);
    // Asked again, it begins anew; asked for another stream, it leaves this one.
    EXPECT_EQ(late->Ask(TV_STREAM_PREVIEW_START, "live"), 0);
    expect(*late, 5, 8);
    EXPECT_EQ(late->Ask(TV_STREAM_PREVIEW_START, "another"), 0);
    EXPECT_EQ(second->Ask(TV_STREAM_PREVIEW_STOP, "live"), 0);
    send(UnitType::kPicture, 9);
    expect(*first, 9, 9);

    __tagTvCommand* message =
        SysCommandHelper::CreateRequestCommand(TV_CMD_SOURCE_MESSAGE, "fake", "live", "3", "");
    EXPECT_EQ(Streams().SendCommand(relay, message), 0);
    SysCommandHelper::ReleaseCommand(message);
    TestPlayer::Frame frame;
    ASSERT_TRUE(first->Next(frame));
    EXPECT_EQ(Parse(frame.payload)["body"], "3");
    EXPECT_EQ(Streams().QueryDataCount(relay), 0);

    first.reset();
    ASSERT_TRUE(module_.WaitFor("close", 2));
    EXPECT_THAT(module_.All()[relay],
                ElementsAre("connect  without a port", "request 1049088 live ",
                            "request 1049089 live ", "close"));
    EXPECT_FALSE(SendData(relay, TestUnit(UnitType::kKey, 10, 100)));
}

TEST_F(PlayersTest, ModulesAreAskedInOrderUntilOneCarriesTheRequestOut) {
    FakeStreamModule first;
    FakeStreamModule second;
    FakeStreamModule third;
    module_.onRequest = [](long long, const __tagTvCommand&) { return -1; };
    first.onRequest = [](long long, const __tagTvCommand&) -> int {
        throw std::runtime_error("as told");
    };
    second.onRequest = [](long long, const __tagTvCommand& request) -> int {
        if (request.deviceId == "nobody's")
            throw 5;
        return 0;
    };
    third.onRequest = [](long long, const __tagTvCommand&) { return -1; };
    Start({}, {&module_, &first, &second, &third});
    {
        TestPlayer player(Port());
        EXPECT_EQ(player.Ask(TV_STREAM_PLAYBACK_START, "a"), 0);
        EXPECT_EQ(player.Ask(TV_STREAM_PLAYBACK_START, "nobody's"), -1);
        EXPECT_TRUE(player.Send(TestPlayer::kBinary, "talk"));
    }
    for (FakeStreamModule* module : {&module_, &first, &second})
        ASSERT_TRUE(module->WaitFor("close", 1) && module->WaitFor("request", 2));
    ASSERT_TRUE(third.WaitFor("close", 1));
    EXPECT_THAT(
        third.All().begin()->second,
        ElementsAre("connect 127.0.0.1", "request 1049090 nobody's ", "media talk", "close"));
}

TEST_F(PlayersTest, AModuleBusyWithOnePlayerServesAnother) {
    Gate gate;
    module_.onRequest = [&](long long, const __tagTvCommand& request) {
        if (request.deviceId == "opens")
            gate.Open();
        return gate.Wait() ? 0 : -1;
    };
    Start();
    TestPlayer busy(Port());
    EXPECT_TRUE(busy.SendRequest(TV_STREAM_PLAYBACK_START, "waits"));
    ASSERT_TRUE(module_.WaitFor("request", 1));
    TestPlayer other(Port());
    EXPECT_EQ(other.Ask(TV_STREAM_PLAYBACK_START, "opens"), 0);
    TestPlayer::Frame answer;
    ASSERT_TRUE(busy.Next(answer));
    EXPECT_EQ(Parse(answer.payload)["result"], 0);
}

TEST_F(PlayersTest, AFloodOfEventsWaitsForTheModuleAndKeepsItsOrder) {
    constexpr int kRequests = 200;
    Gate gate;
    module_.onRequest = [&](long long, const __tagTvCommand&) { return gate.Wait() ? 0 : -1; };
    Start();
    TestPlayer player(Port());
    const std::string talk(size_t{1} << 20, 'x');
    for (int i = 0; i < kRequests; ++i) {
        ASSERT_TRUE(player.SendRequest(TV_STREAM_PLAYBACK_SEEK, "k", std::to_string(i)));
        if (i % 25 == 0) {
            ASSERT_TRUE(player.Send(TestPlayer::kBinary, talk));
        }
        if (i == 60)
            gate.Open();
    }
    TestPlayer::Frame frame;
    for (int i = 0; i < kRequests; ++i)
        ASSERT_TRUE(player.Next(frame));
    int next = 0;
    const FakeStreamModule::Events events = module_.All().begin()->second;
    for (const std::string& event : events) {
        if (event.rfind("request", 0) == 0) {
            EXPECT_EQ(event, "request 1049095 k " + std::to_string(next++));
        }
    }
    EXPECT_EQ(next, kRequests);
}

TEST_F(PlayersTest, TextsThatAreNoRequestAreAnsweredSo) {
    Start();
    TestPlayer player(Port());
    std::string deep = R"({"cmd": 1049088, "key": )" + std::string(5000, '[');
    for (const std::string& text :
         {std::string(), std::string("not JSON"), std::string("[1]"), std::string("7"), deep,
          std::string(R"({"cmd": 99999999999})"), std::string(R"({"cmd": 1e400})"),
          std::string(R"({"cmd": "1049088"})"), std::string(R"({"cmd": 1049088.5})")}) {
        TestPlayer::Frame answer;
        ASSERT_TRUE(player.Send(TestPlayer::kText, text));
        ASSERT_TRUE(player.Next(answer)) << text.substr(0, 40);
        EXPECT_EQ(Parse(answer.payload)["result"], -1) << text.substr(0, 40);
    }
    EXPECT_EQ(module_.All().begin()->second.size(), 1U);

    size_t length = 0;
    module_.onRequest = [&](long long, const __tagTvCommand& request) {
        length = request.body.size();
        return 0;
    };
    EXPECT_EQ(player.Ask(TV_STREAM_PLAYBACK_START, "k\xc3\xa4", std::string(1 << 20, 'x')), 0);
    EXPECT_EQ(length, size_t{1} << 20);
}

TEST_F(PlayersTest, BrokenFramesEndTheirPlayerAlone) {
    Start();
    TestPlayer bystander(Port());
    const std::vector<std::string> broken{
        TestPlayer::Encode(TestPlayer::kText, "unmasked", false),
        TestPlayer::Encode(3, "reserved opcode"),
        TestPlayer::Encode(TestPlayer::kPing, "half a ping", true, false),
        TestPlayer::Encode(TestPlayer::kPing, std::string(126, 'x')),
        TestPlayer::Encode(0, "a continuation of nothing"),
        TestPlayer::Encode(TestPlayer::kText, "\xff\xfe"),
        TestPlayer::Encode(TestPlayer::kClose, "\x03"),
        std::string("\x82\xff\x00\x00\x00\x00\x01\x00\x00\x00mask", 14),  // 16 MiB announced
        std::string("\x82\xff\xff\xff\xff\xff\xff\xff\xff\xffmask", 14),
        std::string("\xf2\x81mask", 6),  // reserved bits
        std::string(3000, '\xff')};
    for (const std::string& bytes : broken) {
        TestPlayer player(Port());
        std::string rest;
        EXPECT_TRUE(player.Socket().Send(bytes));
        EXPECT_TRUE(player.Socket().ReadToEnd(rest)) << testing::PrintToString(bytes.substr(0, 20));
    }
    for (const size_t cut : {1U, 3U, 7U, 20U}) {
        TestPlayer player(Port());
        std::string rest;
        EXPECT_TRUE(player.Socket().Send(
            TestPlayer::Encode(TestPlayer::kText, std::string(200, 'x')).substr(0, cut)));
        player.Socket().FinishSending();
        EXPECT_TRUE(player.Socket().ReadToEnd(rest)) << cut;
    }
    ASSERT_TRUE(module_.WaitFor("close", broken.size() + 4));
    const auto lives = module_.All();
    for (const auto& [id, events] : lives)
        EXPECT_THAT(events, testing::Not(testing::Contains(testing::StartsWith("media"))));
    EXPECT_EQ(bystander.Ask(TV_STREAM_PREVIEW_START, "k"), 0);
    EXPECT_TRUE(WaitForPlayers(1));
}

TEST_F(PlayersTest, WrongUpgradesMakeNoPlayer) {
    Start();
    const auto answer = [this](const std::string& request) {
        TestSocket socket(Port());
        std::string head;
        EXPECT_TRUE(socket.Send(request) && socket.ReadUntil("\r\n", head)) << request;
        return head.substr(9, 3);
    };
    const auto with = [](const std::string& from, const std::string& to) {
        std::string request = vms::test::UpgradeRequest("/stream");
        return request.replace(request.find(from), from.size(), to);
    };
    EXPECT_EQ(answer(with("Sec-WebSocket-Key", "X-Key")), "400");
    EXPECT_EQ(answer(with("Version: 13", "Version: 12")), "426");
    EXPECT_EQ(answer(with("dGhlIHNhbXBsZSBub25jZQ==", std::string(9000, 'x'))), "400");
    EXPECT_EQ(answer(with("GET /stream", "GET /elsewhere")), "200");  // for the HTTP handler
    EXPECT_EQ(answer(with("GET", "POST")), "426");
    EXPECT_EQ(server_->Summary().players, 0U);
    EXPECT_TRUE(module_.All().empty());
}

}  // namespace
