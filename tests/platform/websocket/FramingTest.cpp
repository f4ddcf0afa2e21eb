// Frames written by hand, right and wrong ones: what the client makes of them and how it closes.
#include <gtest/gtest.h>

#include <ostream>

#include "platform/WebSocketSettings.h"
#include "tests/platform/websocket/EventRecorder.h"
#include "tests/support/FrameServer.h"

namespace vms::test {
namespace {

constexpr int kContinuation = 0, kText = 1, kBinary = 2, kClose = 8, kPing = 9, kPong = 10;
constexpr size_t kCap = 1000;

struct Case {
    const char* name;
    std::string bytes;                  ///< what the server writes
    int closeCode;                      ///< in the client's close frame
    std::vector<std::string> messages;  ///< delivered before that
    int endCode = closeCode;            ///< told to the handler
};

void PrintTo(const Case& test, std::ostream* out) {
    *out << test.name;
}

std::string Join(const std::vector<Frame>& frames) {
    std::string bytes;
    for (const Frame& frame : frames)
        bytes += Encode(frame);
    return bytes;
}

std::string CloseWith(int code, const char* reason = "") {
    return Encode({kClose, ClosePayload(code, reason)});
}

class Framing : public testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        WebSocketSettings settings;
        settings.maxMessageBytes = kCap;
        SetWebSocketSettings(settings);
        client_->Connect("127.0.0.1", server_.Port(), "", "", 10'000, false);
        peer_ = server_.AcceptUpgraded();
        ASSERT_NE(peer_, nullptr);
        ASSERT_TRUE(events_.WaitForConnect());
    }
    void TearDown() override { SetWebSocketSettings({}); }

    /// Reads up to the client's close frame.
    Frame ReadClose() {
        Frame frame;
        while (peer_->Read(frame) && frame.opcode != kClose) {
        }
        return frame;
    }

    FrameServer server_;
    EventRecorder events_;
    ClientPtr client_ = MakeClient(&events_);
    std::unique_ptr<FramePeer> peer_;
};

TEST_P(Framing, IsTakenOrRefused) {
    const Case& test = GetParam();
    ASSERT_TRUE(peer_->Write(test.bytes));
    const Frame close = ReadClose();
    ASSERT_EQ(close.opcode, kClose);
    EXPECT_TRUE(close.masked);
    EXPECT_EQ(close.payload.substr(0, 2), ClosePayload(test.closeCode));
    peer_.reset();
    ASSERT_TRUE(events_.WaitForClose());
    EXPECT_EQ(events_.Last().code, test.endCode);
    EXPECT_EQ(events_.Messages(), test.messages);
    EXPECT_TRUE(Eventually([this] { return client_->GetCloseStatus(); }));
}

const std::string kBye = CloseWith(1000);

INSTANTIATE_TEST_SUITE_P(
    Messages, Framing,
    testing::Values(
        Case{"SeveralInOneSegment",
             Join({{kText, "a"}, {kBinary, std::string("\0b", 2)}, {kText, ""}}) + kBye,
             1000,
             {"a", std::string("\0b", 2), ""}},
        Case{"FragmentsAroundAPing",
             Join({{kText, "ab", false},
                   {kPing, "p"},
                   {kContinuation, "", false},
                   {kContinuation, "c"}}) +
                 kBye,
             1000,
             {"abc"}},
        Case{"CharacterAcrossFragments",
             Join({{kText, "\xe2\x82", false}, {kContinuation, "\xac"}}) + kBye,
             1000,
             {"\xe2\x82\xac"}},
        Case{"LengthsOfTwoBytes",
             Join({{kBinary, std::string(125, 'x')}, {kBinary, std::string(126, 'y')}}) + kBye,
             1000,
             {std::string(125, 'x'), std::string(126, 'y')}},
        Case{"JustAtTheCap",
             Join({{kBinary, std::string(kCap - 1, 'x'), false}, {kContinuation, "y"}}) + kBye,
             1000,
             {std::string(kCap - 1, 'x') + "y"}},
        Case{"PongThatNobodyAskedFor", Join({{kPong, "?"}, {kText, "a"}}) + kBye, 1000, {"a"}}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Refused, Framing,
    testing::Values(
        Case{"Masked", Encode({kText, "a", true, 0, true}), 1002, {}},
        Case{"ReservedBit", Encode({kText, "a", true, 4}), 1002, {}},
        Case{"ReservedDataOpcode", Encode({3, "a"}), 1002, {}},
        Case{"ReservedControlOpcode", Encode({11, ""}), 1002, {}},
        Case{"FragmentedPing", Encode({kPing, "a", false}), 1002, {}},
        Case{"LongPing", Encode({kPing, std::string(126, 'a')}), 1002, {}},
        Case{"ContinuationOfNothing", Encode({kContinuation, "a"}), 1002, {}},
        Case{"NewMessageInsideAnother", Join({{kText, "a", false}, {kText, "b"}}), 1002, {}},
        Case{"LengthNotMinimal", std::string("\x82\x7e\x00\x05hello", 9), 1002, {}},
        Case{"BadUtf8", Join({{kText, "good"}, {kText, "\xc0\x80"}}), 1007, {"good"}},
        Case{"Utf8CutShort", Encode({kText, "a\xe2\x82"}), 1007, {}},
        Case{"Surrogate", Encode({kText, "\xed\xa0\x80"}), 1007, {}},
        Case{"TooLongByItsHeader",
             std::string("\x82\x7f\x00\x00\x00\x00\x40\x00\x00\x00", 10),
             1009,
             {}},
        Case{"TooLongInFragments",
             Join({{kBinary, std::string(kCap, 'x'), false}, {kContinuation, "y"}}),
             1009,
             {}}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(Closes, Framing,
                         testing::Values(Case{"Empty", Encode({kClose, ""}), 1000, {}, 1005},
                                         Case{"Registered", CloseWith(3000, "bye"), 3000, {}},
                                         Case{"Private", CloseWith(4999), 4999, {}},
                                         Case{"OneByte", Encode({kClose, "\x03"}), 1002, {}},
                                         Case{"BelowTheRange", CloseWith(999), 1002, {}},
                                         Case{"NeverOnTheWire1005", CloseWith(1005), 1002, {}},
                                         Case{"NeverOnTheWire1006", CloseWith(1006), 1002, {}},
                                         Case{"Unassigned", CloseWith(2999), 1002, {}},
                                         Case{"ReasonNotUtf8", CloseWith(1000, "\xff"), 1002, {}}),
                         [](const auto& test) { return test.param.name; });

TEST_F(Framing, BytesThatDripInMakeTheSameMessages) {
    const std::string bytes = Join({{kText, "ab", false},
                                    {kPing, "p"},
                                    {kContinuation, "c"},
                                    {kBinary, std::string(300, 'z')}});
    for (const char byte : bytes)
        ASSERT_TRUE(peer_->Write(std::string_view(&byte, 1)));
    ASSERT_TRUE(events_.WaitForEvents(3));
    EXPECT_EQ(events_.Messages(), (std::vector<std::string>{"abc", std::string(300, 'z')}));
    Frame pong;
    ASSERT_TRUE(peer_->Read(pong));
    EXPECT_EQ(pong.opcode, kPong);
    EXPECT_EQ(pong.payload, "p");
}

TEST_F(Framing, AConnectionCutInsideAMessageIsAnAbnormalEnd) {
    ASSERT_TRUE(peer_->Write(Encode({kText, "whole"}) + Encode({kText, "partial"}).substr(0, 5)));
    peer_.reset();
    ASSERT_TRUE(events_.WaitForClose());
    EXPECT_EQ(events_.Last().code, 1006);
    EXPECT_EQ(events_.Messages(), std::vector<std::string>{"whole"});
}

TEST_F(Framing, AClientMayHaveABoundOfItsOwn) {
    WebSocketSettings settings = GetWebSocketSettings();
    settings.maxMessageBytes = 10;
    EventRecorder events;
    const ClientPtr own(CreateWebSocketClient(settings));
    ASSERT_NE(own, nullptr);
    own->SetEventHandle(&events);
    ASSERT_TRUE(own->Connect("127.0.0.1", server_.Port(), "", "", 10'000, false));
    const auto peer = server_.AcceptUpgraded();
    ASSERT_NE(peer, nullptr);
    const std::string message = Encode({kText, std::string(11, 'x')});
    ASSERT_TRUE(peer->Write(message));
    ASSERT_TRUE(events.WaitForClose());
    EXPECT_EQ(events.Last().code, 1009);
    ASSERT_TRUE(peer_->Write(message));
    ASSERT_TRUE(events_.WaitForEvents(2));
    EXPECT_EQ(events_.Messages().size(), 1U) << "those of the process hold for others";
}

TEST_F(Framing, TextsGoOutWholeAndMasked) {
    const std::vector<std::string> texts{"", "short", std::string(126, 'a'),
                                         std::string(70'000, 'b')};
    for (const std::string& text : texts)
        ASSERT_TRUE(client_->Send(text.data(), static_cast<int>(text.size())));
    for (const std::string& text : texts) {
        Frame frame;
        ASSERT_TRUE(peer_->Read(frame));
        EXPECT_EQ(frame.opcode, kText);
        EXPECT_TRUE(frame.masked && frame.fin);
        EXPECT_EQ(frame.payload, text);
    }
}

}  // namespace
}  // namespace vms::test
