// Release, Stop and Send at awkward moments, and peers that fall silent.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "platform/WebSocketSettings.h"
#include "tests/platform/websocket/EventRecorder.h"
#include "tests/support/FrameServer.h"

namespace vms::test {
namespace {

using std::chrono::milliseconds;

constexpr int kText = 1, kClose = 8, kPing = 9, kPong = 10;

class Lifetime : public testing::Test {
protected:
    void TearDown() override { SetWebSocketSettings({}); }

    /// Connects once the hook and the settings stand.
    void Open() {
        ASSERT_TRUE(client_->Connect("127.0.0.1", server_.Port(), "", "", 20'000, false));
        peer_ = server_.AcceptUpgraded();
        ASSERT_NE(peer_, nullptr);
    }

    /// Has the client released from inside its first event of this kind.
    void ReleaseInside(Event::Kind kind) {
        released_ = false;
        events_.hook = [this, kind](const Event& event) {
            if (event.kind != kind)
                return;
            client_.reset();
            released_ = true;
        };
    }
    [[nodiscard]] bool WaitForRelease() {
        return Eventually([this] { return released_.load(); });
    }

    FrameServer server_;
    EventRecorder events_;
    ClientPtr client_ = MakeClient(&events_);
    std::unique_ptr<FramePeer> peer_;
    std::atomic<bool> released_{false};
};

TEST_F(Lifetime, ReleaseInsideAnEventMakesItTheLast) {
    ReleaseInside(Event::kMessage);
    Open();
    ASSERT_TRUE(peer_->Write(Encode({kText, "1"}) + Encode({kText, "2"}) + Encode({kText, "3"})));
    ASSERT_TRUE(WaitForRelease());
    ASSERT_TRUE(peer_->ReadToEnd());
    EXPECT_EQ(events_.Messages(), std::vector<std::string>{"1"});
    EXPECT_EQ(events_.Last().kind, Event::kMessage);
}

TEST_F(Lifetime, ReleaseInsideOnConnectAndOnClose) {
    ReleaseInside(Event::kConnect);
    Open();
    ASSERT_TRUE(WaitForRelease());
    EXPECT_TRUE(peer_->ReadToEnd());
    EXPECT_EQ(events_.Events().size(), 1u);

    client_ = MakeClient(&events_);
    ReleaseInside(Event::kClose);
    Open();
    ASSERT_TRUE(peer_->Write({kClose, ClosePayload(1000)}));
    EXPECT_TRUE(peer_->ReadToEnd());
    ASSERT_TRUE(WaitForRelease());
    EXPECT_EQ(events_.Events().size(), 3u);
}

TEST_F(Lifetime, ReleaseWaitsForTheEventUnderWay) {
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left{false};
    events_.hook = [&, first = true](const Event& event) mutable {
        if (event.kind != Event::kMessage || !std::exchange(first, false))
            return;
        entered.set_value();
        leave.get_future().wait();
        left = true;
    };
    Open();
    ASSERT_TRUE(peer_->Write(Encode({kText, "1"}) + Encode({kText, "2"})));
    entered.get_future().wait();
    EXPECT_TRUE(client_->Send("not held up", 11));
    client_->Stop();
    std::atomic<bool> releasing{false};
    std::thread releaser([&] {
        releasing = true;
        client_.reset();
        EXPECT_TRUE(left);
    });
    EXPECT_TRUE(Eventually([&] { return releasing.load(); }));
    leave.set_value();
    releaser.join();
    EXPECT_EQ(events_.Messages(), std::vector<std::string>{"1"});
}

TEST_F(Lifetime, AHandlerThatThrowsLosesOnlyThatEvent) {
    events_.hook = [](const Event& event) {
        if (event.text == "bad")
            throw std::runtime_error("on purpose");
    };
    Open();
    ASSERT_TRUE(peer_->Write(Encode({kText, "bad"}) + Encode({kText, "good"})));
    ASSERT_TRUE(events_.WaitForEvents(3));
    EXPECT_EQ(events_.Messages(), (std::vector<std::string>{"bad", "good"}));
}

TEST_F(Lifetime, SendIsForOpenConnectionsOnly) {
    EXPECT_FALSE(client_->Send("early", 5));
    events_.hook = [this](const Event& event) {
        if (event.kind == Event::kConnect) {
            EXPECT_TRUE(client_->Send("hello", 5));
        } else {
            EXPECT_FALSE(client_->Send("late", 4));
        }
    };
    Open();
    Frame frame;
    ASSERT_TRUE(peer_->Read(frame));
    EXPECT_EQ(frame.payload, "hello");
    EXPECT_FALSE(client_->Send(nullptr, 1));
    EXPECT_FALSE(client_->Send("x", -1));
    peer_.reset();
    ASSERT_TRUE(Eventually([this] { return client_->GetCloseStatus(); }));
    EXPECT_EQ(events_.Last().kind, Event::kClose);
}

TEST_F(Lifetime, StopSendsWhatIsQueuedThenCloses) {
    Open();
    ASSERT_TRUE(events_.WaitForConnect());
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(client_->Send("text", 4));
    client_->Stop();
    EXPECT_FALSE(client_->Send("late", 4));
    Frame frame;
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(peer_->Read(frame));
        ASSERT_EQ(frame.opcode, kText);
    }
    ASSERT_TRUE(peer_->Read(frame));
    EXPECT_EQ(frame.opcode, kClose);
    EXPECT_EQ(frame.payload, ClosePayload(1000));
    ASSERT_TRUE(peer_->Write({kText, "too late to matter"}));
    ASSERT_TRUE(peer_->Write({kClose, ClosePayload(1000)}));
    peer_.reset();
    ASSERT_TRUE(events_.WaitForClose());
    EXPECT_EQ(events_.Last().code, 1000);
    EXPECT_TRUE(events_.Messages().empty());
    EXPECT_TRUE(Eventually([this] { return client_->GetCloseStatus(); }));
}

TEST_F(Lifetime, APeerThatIgnoresTheCloseIsCutOff) {
    Open();
    ASSERT_TRUE(events_.WaitForConnect());
    client_->Stop();
    ASSERT_TRUE(events_.WaitForClose());
    EXPECT_EQ(events_.Last().code, 1006);
    EXPECT_TRUE(peer_->ReadToEnd());
}

TEST_F(Lifetime, APeerThatClosesButStaysIsCutOff) {
    Open();
    ASSERT_TRUE(peer_->Write({kClose, ClosePayload(1001, "restart")}));
    ASSERT_TRUE(events_.WaitForClose());
    EXPECT_EQ(events_.Last().code, 1001);
    EXPECT_EQ(events_.Last().text, "restart");
}

TEST_F(Lifetime, WhatAPeerDoesNotReadIsBounded) {
    constexpr size_t kBound = 1 << 20;
    Open();
    ASSERT_TRUE(events_.WaitForConnect());
    const std::string text(60'000, 'x');
    size_t accepted = 0;
    while (accepted < (size_t{1} << 30) &&
           client_->Send(text.data(), static_cast<int>(text.size())))
        accepted += text.size();
    EXPECT_GE(accepted, kBound - text.size());
    EXPECT_LT(accepted, size_t{1} << 30);
    client_->Stop();  // and cannot send all that in time
    ASSERT_TRUE(events_.WaitForClose());
    EXPECT_EQ(events_.Last().code, 1006);
}

TEST_F(Lifetime, ASilentPeerIsPingedAndGivenUp) {
    WebSocketSettings settings;
    settings.pingAfter = settings.pongTimeout = milliseconds(30);
    SetWebSocketSettings(settings);
    Open();
    Frame frame;
    ASSERT_TRUE(peer_->Read(frame));
    EXPECT_EQ(frame.opcode, kPing);
    ASSERT_TRUE(events_.WaitForClose());
    EXPECT_EQ(events_.Last().code, 1006);
    EXPECT_EQ(events_.Last().text, "no answer to a ping");
}

TEST_F(Lifetime, APongKeepsTheConnection) {
    WebSocketSettings settings;
    settings.pingAfter = milliseconds(20);
    SetWebSocketSettings(settings);
    Open();
    for (int i = 0; i < 5; ++i) {
        Frame frame;
        ASSERT_TRUE(peer_->Read(frame));
        ASSERT_EQ(frame.opcode, kPing);
        ASSERT_TRUE(peer_->Write({kPong, frame.payload}));
    }
    ASSERT_TRUE(peer_->Write({kText, "still here"}));
    ASSERT_TRUE(events_.WaitForEvents(2));
    EXPECT_EQ(events_.Messages(), std::vector<std::string>{"still here"});
}

TEST_F(Lifetime, TakingTheHandlerAwayWaitsAndSilences) {
    std::promise<void> entered;
    std::promise<void> leave;
    events_.hook = [&](const Event& event) {
        if (event.text != "1")
            return;
        entered.set_value();
        leave.get_future().wait();
    };
    Open();
    ASSERT_TRUE(peer_->Write(Encode({kText, "1"}) + Encode({kText, "2"})));
    entered.get_future().wait();
    std::thread remover([&] { client_->SetEventHandle(nullptr); });
    leave.set_value();
    remover.join();
    const size_t count = events_.Events().size();
    ASSERT_TRUE(peer_->Write({kClose, ClosePayload(1000)}));
    EXPECT_TRUE(Eventually([this] { return client_->GetCloseStatus(); }));
    EXPECT_EQ(events_.Events().size(), count);
}

TEST_F(Lifetime, HandlesTellClientsApart) {
    const ClientPtr other = MakeClient(nullptr);
    EXPECT_NE(client_->GetHandle(), other->GetHandle());
}

}  // namespace
}  // namespace vms::test
