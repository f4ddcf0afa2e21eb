// WHEP over HTTP, with a library that speaks no WebRTC behind it.
#include "host/players/whep/WhepPlayers.h"

#include <dlfcn.h>

#include "platform/CreateCommandBusInstance.h"
#include "tests/host/net/TestUnit.h"
#include "tests/host/server/HostServerFixture.h"
#include "tests/host/whep/FakeWhep.h"
#include "tests/host/whep/Offers.h"
#include "tests/support/TestHttp.h"

namespace {

using namespace vms::host::test;
using vms::host::HostServer;
using vms::host::HttpRouter;
using vms::host::WhepPlayers;
using vms::host::WhepSettings;

constexpr char kSdp[] = "Content-Type: application/sdp";

class WhepPlayersTest : public HostServerFixture {
protected:
    WhepPlayersTest() {
        Bus().RegisterCommand("m", TV_CMD_GET_PREVIEW_URL, [](__tagTvCommand* request) {
            __tagTvCommand* answer =
                SysCommandHelper::CreateResponseCommand(request, 1, R"({"uri": "live"})");
            Bus().SendResponse(answer);
            SysCommandHelper::ReleaseCommand(answer);
        });
        fake_ = Fake();
        fake_->Forget();
        settings_.library = FAKE_WHEP;
        settings_.players = 2;
        settings_.host = "127.0.0.1";
    }

    ~WhepPlayersTest() override {
        if (server_ != nullptr)
            server_->Stop();
        fake_->Forget();
        players_.reset();
        server_.reset();
        Bus().UnregisterModule("m");
    }

    static ICommandBus& Bus() { return *CreateCommandBusInstance(); }

    static FakeWhep* Fake() {
        void* const handle = dlopen(FAKE_WHEP, RTLD_NOW | RTLD_LOCAL);
        return reinterpret_cast<GetFakeWhepFunction>(dlsym(handle, "GetFakeWhep"))();
    }

    void Serve() {
        server_ = std::make_unique<HostServer>(Anywhere(), log_);
        server_->Attach({&module_}, devices_);
        players_ = std::make_unique<WhepPlayers>(server_->Context(), settings_);
        HttpRouter router;
        players_->AddTo(router);
        server_->Start(std::move(router));
    }

    TestResponse Post(const std::string& offer, const std::string& target = "/whep/hall/0") const {
        return Fetch(Port(), "POST", target, offer, {kSdp});
    }

    /// Posts an offer, and sends the stream's first picture and sound once they are waited for.
    TestResponse PostAndPlay(const std::string& offer = BrowserOffer()) {
        TestHttp client(Port());
        EXPECT_TRUE(client.Send("POST", "/whep/hall/0?stream=0", offer, {kSdp}));
        EXPECT_TRUE(Wait([this] { return RelayNumber() != 0 && Watchers() > 0; }));
        Send(UnitType::kKey, 2);
        Send(UnitType::kSound, 3);
        return client.Read();
    }

    void Send(UnitType type, int serial) {
        EXPECT_TRUE(SendData(RelayNumber(), TestUnit(type, serial, 100)));
    }

    template <class Condition>
    [[nodiscard]] static bool Wait(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }

    FakeWhep* fake_ = nullptr;
    WhepSettings settings_;
    std::unique_ptr<WhepPlayers> players_;
};

TEST_F(WhepPlayersTest, ABrowserIsAnsweredAndGivenTheStream) {
    Serve();
    const TestResponse answer = PostAndPlay();
    ASSERT_EQ(answer.status, 201) << answer.body;
    EXPECT_EQ(answer.headers.at("content-type"), "application/sdp");
    EXPECT_NE(answer.body.find("m=audio 9"), std::string::npos);
    const std::string location = answer.headers.at("location");
    EXPECT_EQ(location.rfind("/whep/hall/0/", 0), 0U);
    EXPECT_GE(location.size(), std::string("/whep/hall/0/").size() + 32);
    const auto request = fake_->Request();
    EXPECT_EQ(request.videoPayload, 102);
    EXPECT_EQ(request.audioPayload, 8);
    EXPECT_EQ(request.hosts, std::vector<std::string>{"127.0.0.1"});
    const auto players = server_->Players();
    ASSERT_EQ(players.size(), 1U);
    EXPECT_EQ(players[0].kind, "whep");
    EXPECT_EQ(players[0].device, "hall");

    Send(UnitType::kPicture, 3);
    EXPECT_TRUE(fake_->Serials().empty()) << "the browser has not come";
    fake_->Events()->Connected();
    ASSERT_TRUE(Wait([this] { return fake_->Serials() == std::vector<uint32_t>{2, 3}; }));
    fake_->Events()->PictureWanted();
    Send(UnitType::kPicture, 4);
    ASSERT_TRUE(Wait([this] {
        return fake_->Serials() == std::vector<uint32_t>{2, 3, 4};
    })) << "it has just been given the group";

    EXPECT_EQ(Fetch(Port(), "DELETE", location).status, 200);
    ASSERT_TRUE(WaitForPlayers(0));
    ASSERT_TRUE(module_.WaitFor("close", 1)) << "the stream is given back";
    ASSERT_TRUE(Wait([this] { return fake_->OpenSessions() == 0; }));
    EXPECT_EQ(Fetch(Port(), "DELETE", location).status, 404);
}

TEST_F(WhepPlayersTest, ABrowserThatHasGoneIsForgotten) {
    Serve();
    ASSERT_EQ(PostAndPlay().status, 201);
    fake_->Events()->Connected();
    fake_->Events()->Ended("the browser has gone");
    ASSERT_TRUE(WaitForPlayers(0));
    ASSERT_TRUE(Wait([this] { return fake_->OpenSessions() == 0; }));
    ASSERT_TRUE(module_.WaitFor("close", 1));
}

TEST_F(WhepPlayersTest, PlayersAreLimited) {
    Serve();
    ASSERT_EQ(PostAndPlay().status, 201);
    TestResponse second = Post(BrowserOffer());
    ASSERT_EQ(second.status, 201) << "the stream is there, and its group";
    const TestResponse third = Post(BrowserOffer());
    EXPECT_EQ(third.status, 503);
    EXPECT_EQ(third.headers.count("retry-after"), 1U);
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(Post(BrowserOffer()).status, 503);
    EXPECT_EQ(server_->Players().size(), 2U);
    EXPECT_EQ(Fetch(Port(), "DELETE", second.headers.at("location")).status, 200);
    ASSERT_TRUE(WaitForPlayers(1));
    ASSERT_TRUE(Wait([this] { return Post(BrowserOffer()).status == 201; }));
}

TEST_F(WhepPlayersTest, WhatCannotBeSentIsRefusedWithAReason) {
    Serve();
    EXPECT_EQ(Post(BrowserOffer(), "/whep/nobody/0").status, 404);
    EXPECT_EQ(Post(BrowserOffer(), "/whep/hall").status, 404);
    EXPECT_EQ(Post(BrowserOffer(), "/whep/hall/x").status, 400);
    EXPECT_EQ(Post("garbage").status, 400);
    EXPECT_EQ(Post(std::string(1 << 20, 'v')).status, 413);
    EXPECT_EQ(Post(std::string(kSessionPart) + AudioSection()).status, 406);
    EXPECT_EQ(Fetch(Port(), "POST", "/whep/hall/0", BrowserOffer()).status, 415);
    EXPECT_EQ(Fetch(Port(), "PATCH", "/whep/hall/0/x", "a=candidate:").status, 405);
    EXPECT_EQ(Fetch(Port(), "DELETE", "/whep/hall/0").status, 404);
    const TestResponse options = Fetch(Port(), "OPTIONS", "/whep/hall/0");
    EXPECT_EQ(options.status, 204);
    EXPECT_EQ(options.headers.at("accept-post"), "application/sdp");
    EXPECT_EQ(server_->Players().size(), 0U);

    TestHttp client(Port());
    ASSERT_TRUE(client.Send("POST", "/whep/hall/0", BrowserOffer(), {kSdp}));
    ASSERT_TRUE(Wait([this] { return RelayNumber() != 0 && Watchers() > 0; }));
    std::string unit = TestUnit(UnitType::kKey, 1, 100);
    vms::MediaUnitHeader header;
    ASSERT_TRUE(vms::ReadMediaHeader(unit, header));
    header.codec = static_cast<uint8_t>(vms::VideoCodec::kH265);
    vms::WriteMediaHeader(header, unit.data());
    ASSERT_TRUE(SendData(RelayNumber(), unit));
    const TestResponse refused = client.Read();
    EXPECT_EQ(refused.status, 406);
    EXPECT_NE(refused.body.find("h265"), std::string::npos);
    ASSERT_TRUE(WaitForPlayers(0));
}

TEST_F(WhepPlayersTest, ASessionThatFailsIsTold) {
    Serve();
    fake_->SetManner(FakeWhep::Manner::kFails);
    const TestResponse failed = PostAndPlay();
    EXPECT_EQ(failed.status, 503);
    EXPECT_NE(failed.body.find("it has failed"), std::string::npos);
    ASSERT_TRUE(WaitForPlayers(0));
}

TEST_F(WhepPlayersTest, AMissingLibraryIsTold) {
    settings_.library = "/nowhere/libvms_whep.so";
    Serve();
    EXPECT_EQ(Post(BrowserOffer()).status, 501);
}

TEST_F(WhepPlayersTest, AnotherLibraryIsTold) {
    settings_.library = PLATFORM_LIBRARY;
    Serve();
    EXPECT_EQ(PostAndPlay().status, 503);
    ASSERT_TRUE(WaitForPlayers(0));
}

TEST_F(WhepPlayersTest, TheHostEndsInTheMidstOfIt) {
    fake_->SetManner(FakeWhep::Manner::kIsSilent);
    Serve();
    TestHttp client(Port());
    ASSERT_TRUE(client.Send("POST", "/whep/hall/0", BrowserOffer(), {kSdp}));
    ASSERT_TRUE(Wait([this] { return RelayNumber() != 0 && Watchers() > 0; }));
    Send(UnitType::kKey, 1);
    Send(UnitType::kSound, 2);
    ASSERT_TRUE(Wait([this] { return fake_->OpenSessions() == 1; }));
    server_->Stop();
    EXPECT_EQ(fake_->OpenSessions(), 0);
    EXPECT_EQ(server_->Players().size(), 0U);
}

TEST_F(WhepPlayersTest, ABrowserThatLeavesBeforeItsAnswerLeavesNothing) {
    Serve();
    auto client = std::make_unique<TestHttp>(Port());
    ASSERT_TRUE(client->Send("POST", "/whep/hall/0", BrowserOffer(), {kSdp}));
    ASSERT_TRUE(WaitForPlayers(1));
    client.reset();
    ASSERT_TRUE(WaitForPlayers(0));
    ASSERT_TRUE(module_.WaitFor("close", 1));
}

}  // namespace
