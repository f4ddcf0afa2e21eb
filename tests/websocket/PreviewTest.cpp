#include "tests/websocket/SourceFixture.h"
#include "websocket/ClientText.h"
#include "websocket/TaveroPreview_ws.h"

namespace vms::test {
namespace {

constexpr int kVideo = 1, kAudio = 0;

/// A frame as the device sends it, every byte that is not set a 0xEE.
std::string DeviceFrame(int kind, int codec, uint32_t rate, const std::string& payload = "p") {
    std::string bytes(36, '\xee');
    Put(bytes, 4, static_cast<uint64_t>(kind), 1);
    Put(bytes, 8, 0x01020304, 4);
    Put(bytes, 12, 0x11121314, 4);
    Put(bytes, 16, rate, 4);
    Put(bytes, 20, 1920, 4);
    Put(bytes, 24, 1080, 4);
    Put(bytes, 28, static_cast<uint64_t>(codec), 1);
    Put(bytes, 29, 0xe1, 1);
    Put(bytes, 30, 0xbeef, 2);
    return bytes + payload;
}

class Preview : public SourceTest {
protected:
    void Start() {
        ASSERT_EQ(source_.StartPreview("key", 3, 1, &sink_), 0);
        Journal();
    }

    void Receive(const std::string& bytes) {
        source_.OnRecv(1, bytes.data(), static_cast<int>(bytes.size()));
    }

    /// The unit made of a frame; empty when there was none.
    std::string UnitOf(const std::string& bytes) {
        const size_t before = sink_.Units().size();
        Receive(bytes);
        return sink_.Units().size() > before ? sink_.Units().back() : "";
    }

    int64_t now_ = 1000;
    TaveroPreview_ws source_{&device_, "token=abc", [this] { return now_; }};
};

TEST_F(Preview, ConnectsThenAsksForTheStream) {
    ASSERT_EQ(source_.StartPreview("key", 3, 1, &sink_), 0);
    EXPECT_EQ(source_.GetStreamUri(), "key");
    EXPECT_EQ(Journal(),
              (Lines{"client: handler", "1 StartPreview: [ip=10.0.0.7, port=8080, ch=3]ws start",
                     "client: connect 10.0.0.7 8080 \"\" websocket 3000 secure"}));
    source_.OnConnect(1, "", 0);
    const std::string play =
        "{\n\t\"action\" : \"play\",\n\t\"data\" : \n\t{\n\t\t\"channel\" : 3,\n"
        "\t\t\"sessionID\" : \"abc\",\n\t\t\"stream\" : 1\n\t}\n}\n";
    EXPECT_EQ(
        Journal(),
        (Lines{"1 OnConnect: [ip=10.0.0.7, port=8080, ch=3]ws connect", "client: send " + play,
               "1 OnConnect: [ip=10.0.0.7, port=8080, ch=3]ws send:" + play + ", "}));
    source_.OnConnect(1, "", 0);
    EXPECT_EQ(Journal(), Lines{"1 OnConnect: [ip=10.0.0.7, port=8080, ch=3]ws connect"});
}

TEST_F(Preview, StopAsksTheDeviceAndKeepsTheClient) {
    Start();
    source_.StopPreview("any");
    const std::string stop =
        "{\n\t\"action\" : \"stop\",\n\t\"data\" : \n\t{\n\t\t\"sessionID\" : \"abc\"\n\t}\n}\n";
    EXPECT_EQ(Journal(),
              (Lines{"client: send " + stop,
                     "1 StopPreview: [ip=10.0.0.7, port=8080, ch=3]ws send:" + stop + ", "}));
    EXPECT_FALSE(source_.GetCloseGetStreamStatus());
    source_.RequestStopGetPreviewStream();
    EXPECT_TRUE(source_.GetCloseGetStreamStatus());
}

TEST_F(Preview, ASecondStartReleasesTheFirstClient) {
    Start();
    ASSERT_EQ(source_.StartPreview("other", 4, 0, &sink_), 0);
    const Lines lines = Journal();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "client: release");
    EXPECT_EQ(source_.GetStreamUri(), "other");
    source_.SetConnectTimeout(std::chrono::milliseconds(500));
    ASSERT_EQ(source_.StartPreview("third", 4, 0, &sink_), 0);
    EXPECT_EQ(Journal().back(), "client: connect 10.0.0.7 8080 \"\" websocket 500 secure");
}

TEST_F(Preview, WithoutAClientNothingStarts) {
    GiveClients(ClientKind::kNone);
    EXPECT_EQ(source_.StartPreview("key", 3, 1, &sink_), -1);
    EXPECT_EQ(Journal(), Lines{"3 StartPreview: [ip=10.0.0.7, port=8080, ch=3]"
                               "CreateWebSocketClient failed, _USE_WS not defined"});
    source_.StopPreview("key");
    source_.RequestStopGetPreviewStream();
    EXPECT_FALSE(source_.GetCloseGetStreamStatus());
    EXPECT_TRUE(Journal().empty());
}

TEST_F(Preview, SessionComesFromJsonOrPlainText) {
    const auto session = [this](const char* path) {
        TaveroPreview_ws source(&device_, path);
        source.StartPreview("key", 0, 0, &sink_);
        Journal();
        source.StopPreview("key");
        const std::string line = Journal().front();
        const size_t begin = line.find("sessionID\" : \"") + 14;
        return line.substr(begin, line.find('"', begin) - begin);
    };
    EXPECT_EQ(session("token=abc"), "abc");
    EXPECT_EQ(session("a=b=c"), "b=c");
    EXPECT_EQ(session("whole"), "whole");
    EXPECT_EQ(session(R"({"sessionId": "sid=42"})"), "42");
    EXPECT_EQ(session(R"({"sessionId": "42"})"), "42");
    EXPECT_EQ(session(R"({"sessionID": "sid=42"})"), "");
    EXPECT_EQ(session(R"({"sessionId": 42})"), "");
    EXPECT_EQ(session(R"([1])"), "");
    EXPECT_EQ(session(R"({"sessionId": "x)"), R"({\)");
    EXPECT_EQ(session(nullptr), "");
}

TEST_F(Preview, VideoHeaderIsTranslatedFieldByField) {
    Start();
    const std::string unit = UnitOf(DeviceFrame(kVideo, 0, 0x00050019, "payload"));
    ASSERT_EQ(unit.size(), 32u + 7u);
    EXPECT_EQ(unit.substr(32), "payload");
    EXPECT_EQ(Get(unit, 0, 4), 0u);
    EXPECT_EQ(Get(unit, 4, 4), 1u << 2);
    EXPECT_EQ(Get(unit, 8, 4), 0x6000u);
    EXPECT_EQ(Get(unit, 12, 4), 0x01020304u);
    EXPECT_EQ(Get(unit, 16, 4), 0x11121314u);
    EXPECT_EQ(Get(unit, 20, 2), 1920u);
    EXPECT_EQ(Get(unit, 22, 2), 1080u);
    EXPECT_EQ(Get(unit, 24, 2), 0x19u);
    EXPECT_EQ(Get(unit, 26, 2), 0x19u);
    EXPECT_EQ(Get(unit, 28, 4), 0xbeefu);
    EXPECT_EQ(sink_.LastKey(), "key");
}

struct CodecCase {
    int kind, code;
    uint32_t rate;
    unsigned type, video, audio, format, rateOut;
};

TEST_F(Preview, CodecsAndRatesHaveTheirRules) {
    Start();
    const CodecCase cases[] = {
        {kVideo, 0, 25, 0, 0x60, 0, 0, 25},
        {kVideo, 1, 0, 0, 0x96, 0, 0, 30},
        {kVideo, 3, 1, 0, 0x1a, 0, 0, 1},
        {kVideo, 2, 25, 0, 2, 0, 0, 25},
        {kAudio, 0x10, 0, 1, 0, 1, 4, 8000},
        {kAudio, 0x11, 0, 1, 0, 2, 3, 8000},
        {kAudio, 0x15, 8000, 1, 0, 0x21, 0, 8000},
        {kAudio, 0x15, 0, 1, 0, 0x15, 2, 16000},
        {kAudio, 0x15, 16000, 1, 0, 0x15, 0, 16000},
        {kAudio, 0x16, 0, 1, 0, 0x16, 0, 2400},
        {kAudio, 0x7f, 0, 1, 0, 0x7f, 0, 0},
        {kAudio, 0x10, 44100, 1, 0, 1, 0, 44100},
        {2, 0x10, 0, 0, 0, 0, 0, 0},
    };
    for (const CodecCase& test : cases) {
        SCOPED_TRACE(testing::Message() << "kind " << test.kind << " code " << test.code);
        const std::string unit = UnitOf(DeviceFrame(test.kind, test.code, test.rate));
        ASSERT_EQ(unit.size(), 33u);
        EXPECT_EQ(Get(unit, 4, 4) & 3, test.type);
        EXPECT_EQ(Get(unit, 9, 1), test.video);
        EXPECT_EQ(Get(unit, 10, 1), test.audio);
        EXPECT_EQ(Get(unit, 11, 1), test.format);
        EXPECT_EQ(Get(unit, 24, 2), test.rateOut);
        EXPECT_EQ(Get(unit, 26, 2), test.rate);
    }
}

TEST_F(Preview, WhatIsNoFrameNeverReachesTheSink) {
    Start();
    Receive("{\"code\": 0}");
    Receive(std::string("{") + std::string(100, 'x'));
    Receive(std::string(36, '\0'));
    source_.OnRecv(1, nullptr, 40);
    source_.OnRecv(1, "x", 0);
    source_.OnRecv(1, "x", -1);
    EXPECT_TRUE(sink_.Units().empty());
    EXPECT_EQ(Journal(),
              (Lines{"1 OnRecv: [ip=10.0.0.7, port=8080, ch=3]ws recv:{\"code\": 0}",
                     "1 OnRecv: [ip=10.0.0.7, port=8080, ch=3]ws recv:{" + std::string(100, 'x'),
                     "3 OnRecv: [ip=10.0.0.7, port=8080, ch=3]ws recv unknown data:datalen=36"}));
    source_.OnClose(1, 1006, "lost");
    EXPECT_TRUE(sink_.Messages().empty()) << "no data had flowed";
    const std::string longText(1 << 20, 'x');
    EXPECT_EQ(LoggableText(longText.data(), 1 << 20).size(), 65'536u) << "cut for the log";
}

TEST_F(Preview, VideoFramesAreCountedInTheLog) {
    Start();
    const std::string video = DeviceFrame(kVideo, 0, 25);
    Receive(DeviceFrame(kAudio, 0x10, 0));
    EXPECT_TRUE(Journal().empty());
    Receive(video);
    EXPECT_EQ(Journal(),
              Lines{"0 OnRecv: recv stream, width=1920, height=1080, TimeStamp=286397204"});
    now_ += 2;
    Receive(video);
    EXPECT_TRUE(Journal().empty());
    now_ += 1;
    Receive(video);
    EXPECT_EQ(Journal(), Lines{"1 OnRecv: [ip=10.0.0.7, port=8080, ch=3]ws recv stream count=3, "
                               "ulTimeStamp=286397204, ucSerialNum=16909060"});
    now_ += 2;
    Receive(video);
    EXPECT_TRUE(Journal().empty());
}

TEST_F(Preview, LossOfARunningStreamIsReported) {
    Start();
    Receive(DeviceFrame(kVideo, 0, 25));
    Journal();
    source_.OnClose(1, 1006, "gone");
    EXPECT_EQ(Journal(), Lines{"1 OnClose: [ip=10.0.0.7, port=8080, ch=3]ws close, msg=gone"});
    ASSERT_EQ(sink_.Messages().size(), 1u);
    EXPECT_STREQ(sink_.Messages()[0].text, "3");
    EXPECT_EQ(sink_.Messages()[0].key, "key");

    source_.StopPreview("key");
    source_.OnClose(1, 1000, nullptr);
    EXPECT_EQ(sink_.Messages().size(), 1u);
}

TEST(PreviewWithoutADevice, IsHarmless) {
    TaveroPreview_ws source(nullptr, nullptr);
    EXPECT_FALSE(source.GetCloseGetStreamStatus());
    EXPECT_EQ(source.GetTalkEncodeType(), 0);
    const std::string frame = DeviceFrame(kVideo, 0, 25);
    source.OnRecv(1, frame.data(), static_cast<int>(frame.size()));  // and no sink
    source.OnClose(1, 1006, "");
}

}  // namespace
}  // namespace vms::test
