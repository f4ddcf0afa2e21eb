// Talking to a device over a WebSocket: one at a time, in words when it fails, never too fast.
#include "host/api/TalkApi.h"

#include <gmock/gmock-matchers.h>

#include <algorithm>
#include <atomic>
#include <memory>

#include "host/api/TalkPlayer.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/Json.h"
#include "tests/host/server/HostServerFixture.h"
#include "tests/support/TestHttp.h"

namespace vms::host {
namespace {

using test::TestPlayer;
using testing::HasSubstr;

class TalkTest : public test::HostServerFixture {
protected:
    TalkTest() {
        Bus().RegisterCommand("m", TV_CMD_GET_PREVIEW_URL, [](__tagTvCommand* request) {
            __tagTvCommand* answer =
                SysCommandHelper::CreateResponseCommand(request, 1, R"({"uri": "live-hall"})");
            Bus().SendResponse(answer);
            SysCommandHelper::ReleaseCommand(answer);
        });
        module_.onRequest = [this](long long, const __tagTvCommand& request) {
            const bool isTalk = SysCommandHelper::CommandId(&request) == TV_STREAM_TALK_START;
            return isTalk && isMute_ ? -1 : 0;
        };
        server_ = std::make_unique<HostServer>(Anywhere(), log_);
        server_->Attach({&module_}, devices_);
        talk_ = std::make_unique<TalkApi>(server_->Context(), server_->Budget());
        HttpRouter router;
        talk_->AddTo(router);
        server_->Start(std::move(router));
    }
    ~TalkTest() override {
        server_.reset();
        Bus().UnregisterModule("m");
    }

    static ICommandBus& Bus() { return *CreateCommandBusInstance(); }

    std::unique_ptr<TestPlayer> Connect(const std::string& query) {
        return std::make_unique<TestPlayer>(Port(), 0, "/api/talk?" + query);
    }

    static std::string NextText(TestPlayer& talker) {
        TestPlayer::Frame frame;
        EXPECT_TRUE(talker.Next(frame));
        EXPECT_EQ(frame.opcode, TestPlayer::kText) << frame.payload;
        return frame.payload;
    }

    /// What a talker is told before its connection is ended for the same reason.
    static std::string Refusal(TestPlayer& talker) {
        Json::Value told;
        EXPECT_TRUE(ParseJson(NextText(talker).c_str(), told));
        TestPlayer::Frame frame;
        EXPECT_TRUE(talker.Next(frame));
        EXPECT_EQ(frame.opcode, TestPlayer::kClose);
        EXPECT_EQ(frame.payload.substr(std::min<size_t>(2, frame.payload.size())), told["error"]);
        return told["error"].asString();
    }

    std::atomic<bool> isMute_{false};
    std::unique_ptr<TalkApi> talk_;
};

TEST_F(TalkTest, SoundGoesToTheModuleWithItsHeader) {
    auto talker = Connect("device=hall&channel=2&codec=mulaw");
    ASSERT_TRUE(talker->Send(TestPlayer::kBinary, "early"));
    EXPECT_EQ(NextText(*talker), R"({"state":"talking"})");
    ASSERT_TRUE(talker->Send(TestPlayer::kBinary, "late"));
    ASSERT_TRUE(module_.WaitFor("media", 2));
    const long long number = server_->Players().front().id;
    EXPECT_EQ(server_->Players().front().kind, "talk");
    const auto events = module_.All()[number];
    ASSERT_EQ(events.size(), 4U);
    EXPECT_EQ(events[1], "request 1049096 live-hall 2");
    // Type 2 in bits 0 and 1, the length from bit 7 on.
    EXPECT_EQ(events[2].substr(0, 14), std::string("media \0\0\0\0\x82\x02\0\0", 14));
    EXPECT_EQ(events[3].substr(0, 14), std::string("media \0\0\0\0\x02\x02\0\0", 14));

    talker.reset();
    ASSERT_TRUE(module_.WaitFor("close", 2)) << "the talker's and the relay's";
    const auto all = module_.All()[number];
    EXPECT_EQ(all[all.size() - 2], "request 1049097 live-hall ");
    EXPECT_TRUE(server_->Relays().empty()) << "the stream is given back";
}

TEST_F(TalkTest, OneTalksAtATime) {
    auto first = Connect("device=hall&channel=0");
    EXPECT_EQ(NextText(*first), R"({"state":"talking"})");
    auto second = Connect("device=hall&channel=1");
    EXPECT_THAT(Refusal(*second), HasSubstr("somebody is talking to this device already"));
    first.reset();
    ASSERT_TRUE(WaitForPlayers(0));
    auto third = Connect("device=hall&channel=0");
    EXPECT_EQ(NextText(*third), R"({"state":"talking"})");
}

TEST_F(TalkTest, WhatCannotBeIsToldInWords) {
    const std::pair<const char*, const char*> cases[] = {
        {"device=none&channel=0", "there is no such device"},
        {"channel=0", "this is no identifier of a device"},
        {"device=hall&channel=-1", "the channel must be a number"},
        {"device=hall&channel=0&codec=opus", "must be alaw or mulaw"}};
    for (const auto& [query, reason] : cases)
        EXPECT_THAT(Refusal(*Connect(query)), HasSubstr(reason)) << query;
    isMute_ = true;
    EXPECT_EQ(Refusal(*Connect("device=hall&channel=0")), "the device takes no talk");
    ASSERT_TRUE(WaitForPlayers(0));
    EXPECT_EQ(vms::test::Fetch(Port(), "GET", "/api/talk?device=hall&channel=0").status, 426);
}

TEST_F(TalkTest, AFloodIsNotPassedOn) {
    auto talker = Connect("device=hall&channel=0");
    EXPECT_EQ(NextText(*talker), R"({"state":"talking"})");
    ASSERT_TRUE(talker->Send(TestPlayer::kBinary, std::string(TalkPlayer::kLongestFrame + 1, 'x')));
    EXPECT_THAT(Refusal(*talker), HasSubstr("longer than 64 KiB"));
    ASSERT_TRUE(WaitForPlayers(0));

    auto hasty = Connect("device=hall&channel=0");
    EXPECT_EQ(NextText(*hasty), R"({"state":"talking"})");
    const std::string second(TalkPlayer::kBytesPerSecond, 'x');
    for (int i = 0; i < 100; ++i)
        hasty->Send(TestPlayer::kBinary, second);
    EXPECT_THAT(Refusal(*hasty), HasSubstr("faster than it can be spoken"));
    ASSERT_TRUE(WaitForPlayers(0));
    size_t said = 0;
    for (const auto& [number, events] : module_.All())
        said +=
            static_cast<size_t>(std::count_if(events.begin(), events.end(), [](const auto& one) {
                return one.rfind("media", 0) == 0;
            }));
    EXPECT_LE(said, 35U) << "seconds";
}

}  // namespace
}  // namespace vms::host
