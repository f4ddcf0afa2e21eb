// Players over WebSocket that name a device instead of a key.
#include "platform/CreateCommandBusInstance.h"
#include "tests/host/net/TestUnit.h"
#include "tests/host/server/HostServerFixture.h"

namespace {

using namespace vms::host::test;

class AddressTest : public HostServerFixture {
protected:
    AddressTest() {
        Bus().RegisterCommand("m", TV_CMD_GET_PREVIEW_URL, [](__tagTvCommand* request) {
            __tagTvCommand* answer =
                SysCommandHelper::CreateResponseCommand(request, 1, R"({"uri": "live"})");
            Bus().SendResponse(answer);
            SysCommandHelper::ReleaseCommand(answer);
        });
        Start();
    }
    ~AddressTest() override {
        server_.reset();
        Bus().UnregisterModule("m");
    }

    static ICommandBus& Bus() { return *CreateCommandBusInstance(); }

    /// How the server ends a player's connection.
    std::string ReasonFor(const std::string& query) {
        TestPlayer player(Port(), 0, "/stream?" + query);
        TestPlayer::Frame frame;
        EXPECT_TRUE(player.Next(frame));
        EXPECT_EQ(frame.opcode, TestPlayer::kClose);
        return frame.payload.substr(std::min<size_t>(2, frame.payload.size()));
    }
};

TEST_F(AddressTest, AnAddressIsEnoughToWatchAndToTalk) {
    auto player = std::make_unique<TestPlayer>(Port(), 0, "/stream?device=hall&channel=0");
    ASSERT_TRUE(module_.WaitFor("request", 1));
    ASSERT_NE(RelayNumber(), 0);
    const std::string unit = TestUnit(UnitType::kKey, 1, 100);
    ASSERT_TRUE(SendData(RelayNumber(), unit));
    TestPlayer::Frame frame;
    ASSERT_TRUE(player->Next(frame));
    EXPECT_EQ(frame.payload, unit);
    EXPECT_EQ(player->Ask(TV_STREAM_TALK_START, "", "1"), 0);
    const auto events = module_.All()[server_->Players().back().id];
    EXPECT_EQ(events.back(), "request 1049096 live 1") << "about the stream it watches";

    player.reset();
    ASSERT_TRUE(module_.WaitFor("close", 2)) << "the player's end and the relay's";
    EXPECT_TRUE(server_->Relays().empty());
}

TEST_F(AddressTest, WhatCannotBeWatchedIsToldInWords) {
    EXPECT_EQ(ReasonFor("device=nobody&channel=0"), "there is no such device");
    EXPECT_EQ(ReasonFor("device=hall"), "the channel must be a number from 0 to 65535");
    EXPECT_EQ(ReasonFor("device=hall&channel=0x1"), "the channel must be a number from 0 to 65535");
    EXPECT_EQ(ReasonFor("device=hall&channel=0&stream=-1"),
              "the stream must be a number from 0 to 65535");
    EXPECT_EQ(ReasonFor("device=&channel=0"), "this is no identifier of a device");
}

}  // namespace
