// The sources with the platform's client against a device on a socket.
#include "tests/platform/websocket/EventRecorder.h"
#include "tests/support/FrameServer.h"
#include "tests/websocket/SourceFixture.h"
#include "websocket/TaveroFaceFrame_ws.h"
#include "websocket/TaveroPreview_ws.h"
#include "websocket/le2host.h"

namespace vms::test {
namespace {

class OverASocket : public SourceTest {
protected:
    OverASocket() {
        GiveClients(ClientKind::kReal);
        device_.ip = "127.0.0.1";
        device_.port = server_.Port();
        device_.httpsEnable = false;
    }

    FrameServer server_;
};

TEST_F(OverASocket, APreviewFromPlayToLoss) {
    TaveroPreview_ws source(&device_, "s=1");
    ASSERT_EQ(source.StartPreview("a key longer than short strings", 0, 1, &sink_), 0);
    auto peer = server_.AcceptUpgraded();
    ASSERT_NE(peer, nullptr);
    EXPECT_TRUE(peer->Request().starts_with("GET / HTTP/1.1\r\n"));
    Frame play;
    ASSERT_TRUE(peer->Read(play));
    EXPECT_EQ(play.opcode, 1);
    EXPECT_NE(play.payload.find("\"play\""), std::string::npos);
    std::string frame(36, '\0');
    Put(frame, 4, 1, 1);
    for (const size_t size : {1u, 20'000u, 300'000u})
        ASSERT_TRUE(peer->Write({2, frame + std::string(size, 'v')}));
    ASSERT_TRUE(Eventually([this] { return sink_.Units().size() == 3; }));
    EXPECT_EQ(sink_.Units()[2].substr(32), std::string(300'000, 'v'));
    peer.reset();
    ASSERT_TRUE(Eventually([&] { return source.GetCloseGetStreamStatus(); }));
    ASSERT_EQ(sink_.Messages().size(), 1u);
    EXPECT_STREQ(sink_.Messages()[0].text, "3");
}

TEST_F(OverASocket, AStopIsHeardBeforeTheClose) {
    TaveroFaceFrame_ws source(&device_, "s=1");
    ASSERT_EQ(source.StartFaceFrame("key", 0, &sink_), 0);
    const auto peer = server_.AcceptUpgraded();
    ASSERT_NE(peer, nullptr);
    EXPECT_TRUE(peer->Request().starts_with("GET /events HTTP/1.1\r\n"));
    Frame frame;
    ASSERT_TRUE(peer->Read(frame));
    source.StopFaceFrame("key");
    source.RequestStopGetPreviewStream();
    ASSERT_TRUE(peer->Read(frame));
    EXPECT_NE(frame.payload.find("\"stop\""), std::string::npos);
    ASSERT_TRUE(peer->Read(frame));
    EXPECT_EQ(frame.opcode, 8);
    ASSERT_TRUE(Eventually([&] { return source.GetCloseGetStreamStatus(); }));
    EXPECT_TRUE(sink_.Messages().empty());
}

TEST_F(OverASocket, ADeviceThatIsNotThereEndsAsClosed) {
    device_.port = FrameServer().Port();
    TaveroPreview_ws source(&device_, "s=1");
    ASSERT_EQ(source.StartPreview("key", 0, 0, &sink_), 0);
    EXPECT_TRUE(Eventually([&] { return source.GetCloseGetStreamStatus(); }));
    EXPECT_TRUE(sink_.Messages().empty());
}

TEST(LittleEndianFields, AreSwappedOnBigEndianHostsOnly) {
    EXPECT_FALSE(g_hostIsBigEndian);
    EXPECT_EQ(le2host(uint32_t{0x01020304}), 0x01020304u);
    g_hostIsBigEndian = true;
    EXPECT_EQ(le2host(uint8_t{0x12}), 0x12);
    EXPECT_EQ(le2host(uint16_t{0x1234}), 0x3412);
    EXPECT_EQ(le2host(uint32_t{0x01020304}), 0x04030201u);
    g_hostIsBigEndian = false;
}

}  // namespace
}  // namespace vms::test
