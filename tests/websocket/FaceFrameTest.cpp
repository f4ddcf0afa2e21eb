#include "tests/websocket/SourceFixture.h"
#include "videodevice/FaceOnClose.h"
#include "websocket/TaveroFaceFrame_ws.h"

namespace vms::test {
namespace {

std::string Packet(uint64_t signature, const std::string& payload) {
    std::string bytes(32, '\xee');
    Put(bytes, 0, signature, 2);
    Put(bytes, 2, 0xffe5, 2);
    Put(bytes, 4, 0xffd23456, 4);
    return bytes + payload;
}

class FaceFrame : public SourceTest {
protected:
    void Start() {
        ASSERT_EQ(source_.StartFaceFrame("key", 3, &sink_), 0);
        Journal();
    }
    void Receive(const std::string& bytes) {
        source_.OnRecv(1, bytes.data(), static_cast<int>(bytes.size()));
    }

    TaveroFaceFrame_ws source_{&device_, "{\"sessionId\": \"sid=42\"}"};
};

TEST_F(FaceFrame, SubscribesOverAPlainConnection) {
    ASSERT_EQ(source_.StartFaceFrame("key", 3, &sink_), 0);
    EXPECT_EQ(source_.GetStreamUri(), "key");
    EXPECT_EQ(Journal(), (Lines{"client: handler",
                                "1 StartFaceFrame: [ip=10.0.0.7, port=8080]face frame ws start",
                                "client: connect 10.0.0.7 8080 \"events\" websocket 3000"}));
    source_.OnConnect(1, "", 0);
    const std::string start =
        "{\n\t\"action\" : \"start\",\n\t\"data\" : \n\t{\n\t\t\"sessionID\" : \"42\\\"}\",\n"
        "\t\t\"subscription\" : \n\t\t{\n\t\t\t\"event_image\" : false,\n"
        "\t\t\t\"face_image\" : false,\n\t\t\t\"packet_types\" : "
        "\n\t\t\t[\n\t\t\t\t4,\n\t\t\t\t5\n\t\t\t]\n\t\t}\n\t}\n}\n";
    EXPECT_EQ(Journal(),
              (Lines{"1 OnConnect: [ip=10.0.0.7, port=8080]face frame ws connect",
                     "client: send " + start,
                     "1 OnConnect: [ip=10.0.0.7, port=8080]face frame ws send:" + start + ", "}));
    source_.OnConnect(1, "", 0);
    EXPECT_EQ(Journal().size(), 1u);
}

TEST_F(FaceFrame, ConnectsInTheTimeItIsGiven) {
    source_.SetConnectTimeout(std::chrono::hours(1000));
    ASSERT_EQ(source_.StartFaceFrame("key", 3, &sink_), 0);
    EXPECT_EQ(Journal().back(), "client: connect 10.0.0.7 8080 \"events\" websocket 86400000");
}

TEST_F(FaceFrame, StopSendsTheActionAlone) {
    Start();
    source_.StopFaceFrame("key");
    const std::string stop = "{\n\t\"action\" : \"stop\"\n}\n";
    EXPECT_EQ(
        Journal(),
        (Lines{"client: send " + stop,
               "1 StopFaceFrame: [ip=10.0.0.7, port=8080]face frame ws send:" + stop + ", "}));
    source_.RequestStopGetPreviewStream();
    EXPECT_TRUE(source_.GetCloseGetStreamStatus());
}

TEST_F(FaceFrame, PacketBecomesAFaceUnit) {
    Start();
    Receive(Packet(0xa5a5, "picture"));
    Receive(Packet(0xa5a5, ""));
    ASSERT_EQ(sink_.Units().size(), 2u);
    const std::string unit = sink_.Units()[0];
    std::string header(32, '\0');
    Put(header, 4, 3u | 5u << 2 | 0x123456u << 7, 4);
    EXPECT_EQ(unit, header + "picture");
    EXPECT_EQ(sink_.Units()[1], header);
    EXPECT_EQ(sink_.LastKey(), "key");
}

TEST_F(FaceFrame, StrangeMessagesAreDropped) {
    Start();
    Receive(std::string(31, '\xa5'));
    source_.OnRecv(1, nullptr, 40);
    source_.OnRecv(1, "x", 0);
    source_.OnClose(1, 1006, "early");
    EXPECT_TRUE(sink_.Messages().empty());
    Receive(Packet(0xa5a4, "x"));
    EXPECT_TRUE(sink_.Units().empty());
    EXPECT_EQ(
        Journal(),
        (Lines{"3 OnRecv: [ip=10.0.0.7, port=8080]face frame ws recv unknown data: datalen=31",
               "1 OnClose: [ip=10.0.0.7, port=8080]face frame ws close, msg=early",
               "3 OnRecv: [ip=10.0.0.7, port=8080]face frame ws recv unknown data: signature != "
               "0xa5a5"}));
    source_.OnClose(1, 1006, "late");
    ASSERT_EQ(sink_.Messages().size(), 1u) << "data had arrived, if no face";
    EXPECT_EQ(sink_.Messages()[0].text, g_faceOnClose) << "recognised by its address";
}

TEST_F(FaceFrame, AStoppedSourceReportsNoLoss) {
    Start();
    Receive(Packet(0xa5a5, "x"));
    source_.StopFaceFrame("key");
    source_.OnClose(1, 1000, "");
    EXPECT_TRUE(sink_.Messages().empty());
}

TEST_F(FaceFrame, WithoutAClientNothingStarts) {
    GiveClients(ClientKind::kNone);
    EXPECT_EQ(source_.StartFaceFrame("key", 3, &sink_), -1);
    EXPECT_EQ(Journal(), Lines{"3 StartFaceFrame: [ip=10.0.0.7, port=8080]CreateWebSocketClient "
                               "failed, _USE_WS not defined"});
    EXPECT_FALSE(source_.GetCloseGetStreamStatus());
}

}  // namespace
}  // namespace vms::test
