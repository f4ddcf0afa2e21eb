// Faces that devices find become events for as long as somebody wants them.
#include "host/api/FaceWatch.h"

#include <gmock/gmock-matchers.h>

#include <algorithm>
#include <atomic>
#include <memory>

#include "host/api/FaceOutlet.h"
#include "media/unit/MediaHeader.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/Json.h"
#include "tests/host/http/HttpServerFixture.h"
#include "tests/host/server/HostServerFixture.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using test::Eventually;

std::string FaceUnit(const std::string& payload) {
    MediaUnitHeader header;
    header.type = MediaType::kFace;
    header.frameType = 5;
    header.faceLength = static_cast<uint32_t>(payload.size());
    std::string unit(kMediaHeaderSize, '\0');
    WriteMediaHeader(header, unit.data());
    return unit + payload;
}

class FaceTest : public test::HostServerFixture {
protected:
    FaceTest() {
        Bus().RegisterCommand("m", TV_CMD_GET_PREVIEW_URL, [this](__tagTvCommand* request) {
            ++asked_;
            if (request->body != R"({"channel":2,"face":1,"id":"hall","streamNo":1})")
                return;
            __tagTvCommand* answer = SysCommandHelper::CreateResponseCommand(
                request, isThere_ ? 1 : -1, R"({"uri": "live"})");
            Bus().SendResponse(answer);
            SysCommandHelper::ReleaseCommand(answer);
        });
        Start();
        faces_ = std::make_unique<FaceWatch>(server_->Context(), events_, 10ms);
    }
    ~FaceTest() override {
        server_->Stop();
        faces_.reset();
        server_.reset();
        Bus().UnregisterModule("m");
    }

    static ICommandBus& Bus() { return *CreateCommandBusInstance(); }

    /// Those kept so far, oldest first.
    std::vector<LoggedEvent> Events() {
        std::vector<LoggedEvent> events = events_.Find({});
        std::reverse(events.begin(), events.end());
        return events;
    }

    std::atomic<int> asked_{0};
    std::atomic<bool> isThere_{true};
    Database database_{nullptr};
    EventLog events_{database_, log_};
    std::unique_ptr<FaceWatch> faces_;
};

TEST_F(FaceTest, FacesBecomeEventsUntilNobodyWantsThem) {
    auto one = faces_->Watch("hall", 2);
    auto other = faces_->Watch("hall", 2);
    ASSERT_TRUE(Eventually([&] { return Watchers() == 1; }));
    EXPECT_EQ(asked_, 1) << "one stream, however many want it";
    for (const std::string& payload :
         {std::string(R"({"faceId": 7})"), std::string("\xff\xd8 picture"), std::string()})
        ASSERT_TRUE(SendData(RelayNumber(), FaceUnit(payload)));
    ASSERT_TRUE(Eventually([&] { return events_.Last() >= 2; }));
    const auto events = Events();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].type, "face");
    EXPECT_EQ(events[0].device, "hall");
    EXPECT_EQ(events[0].channel, 2);
    EXPECT_EQ(events[0].data, R"({"bytes":13,"face":{"faceId":7},"packet":5})");
    EXPECT_EQ(events[1].data, R"({"bytes":10,"packet":5})") << "the picture stays where it is";
    one.reset();
    EXPECT_EQ(Watchers(), 1U);
    other.reset();
    ASSERT_TRUE(module_.WaitFor("close", 1)) << "the stream is given back";
    EXPECT_TRUE(server_->Relays().empty());
}

TEST_F(FaceTest, AFloodIsCounted) {
    const auto watch = faces_->Watch("hall", 2);
    ASSERT_TRUE(Eventually([&] { return Watchers() == 1; }));
    for (int i = 0; i < 5000; ++i)
        ASSERT_TRUE(SendData(RelayNumber(), FaceUnit("x")));
    ASSERT_TRUE(Eventually([&] { return events_.Last() >= FaceOutlet::kMostPerSecond; }));
    EXPECT_LT(events_.Last(), 1000);
}

TEST_F(FaceTest, AStreamThatEndsIsAskedForAgain) {
    const auto watch = faces_->Watch("hall", 2);
    ASSERT_TRUE(Eventually([&] { return Watchers() == 1; }));
    Streams().CloseConnection(RelayNumber());
    ASSERT_TRUE(Eventually([&] { return asked_ >= 2; }));
}

TEST_F(FaceTest, WhatCannotBeHadIsTriedAgainAndToldOnce) {
    isThere_ = false;
    const auto watch = faces_->Watch("hall", 2);
    ASSERT_TRUE(Eventually([&] { return asked_ >= 3; }));
    ASSERT_EQ(Events().size(), 1U);
    EXPECT_EQ(Events()[0].type, "faces-failed");
    isThere_ = true;
    EXPECT_TRUE(Eventually([&] { return Watchers() == 1; }));
}

}  // namespace
}  // namespace vms::host
