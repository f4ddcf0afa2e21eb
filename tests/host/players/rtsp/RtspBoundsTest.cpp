// RTSP clients that send what they should not, too much of it, or nothing.
#include <gmock/gmock-matchers.h>

#include "host/players/rtsp/RtspRange.h"
#include "host/players/rtsp/RtspRequestReader.h"
#include "host/players/rtsp/RtspTarget.h"
#include "host/players/rtsp/RtspTransport.h"
#include "tests/host/players/rtsp/RtspFixture.h"

namespace {

using namespace std::chrono_literals;
using namespace vms::host;
using vms::host::test::RtspFixture;
using vms::host::test::RtspTestClient;
using Progress = RtspRequestReader::Progress;

/// 0 when the text is a request or the beginning of one, else the status it is refused with.
int Refusal(std::string text) {
    RtspRequestReader reader;
    return reader.Read(text) == Progress::kFailed ? reader.Failure() : 0;
}

TEST(RtspRequestReaderTest, RefusesWhatIsNoRequestOrTooLong) {
    const std::string line = "OPTIONS * RTSP/1.0\r\n";
    EXPECT_EQ(Refusal(line + "CSeq: 1\r\n\r\n"), 0);
    EXPECT_EQ(Refusal("OPTIONS * RTSP/2.0\r\nCSeq: 1\r\n\r\n"), 505);
    for (const std::string& text :
         {std::string("GET / HTTP/1.1\r\n\r\n"), std::string("OPTIONS *\r\n\r\n"),
          std::string("OPTIONS  RTSP/1.0\r\n\r\n"), std::string("OPT:IONS * RTSP/1.0\r\n\r\n"),
          std::string("OPTIONS a b RTSP/1.0\r\n\r\n"), line + "CSeq 1\r\n\r\n",
          line + "C\x01"
                 "eq: 1\r\n\r\n",
          line + ": 1\r\n\r\n", line + "A: 1\n2\r\n\r\n", line + "Content-Length: -1\r\n\r\n",
          line + "Content-Length: 1x\r\n\r\n"})
        EXPECT_EQ(Refusal(text), 400) << text;
    EXPECT_EQ(Refusal(line + "Content-Length: 65537\r\n\r\n"), 413);
    EXPECT_EQ(Refusal(line + "Content-Length: 99999999999999999999\r\n\r\n"), 413);
    EXPECT_EQ(Refusal(line + "A: " + std::string(RtspRequestReader::kLongestHead, 'x')), 413);
    std::string many = line;
    for (int i = 0; i < 100; ++i)
        many += "A: b\r\n";
    EXPECT_EQ(Refusal(many + "\r\n"), 400);
}

TEST(RtspRequestReaderTest, TakesPacketsAndRequestsInWhateverPieces) {
    const std::string all =
        std::string("\r\n$\1\0\2ab", 8) +
        "SET_PARAMETER u RTSP/1.0\r\nCSeq: 7\r\ncontent-length:  3 \r\n\r\nxyz" +
        std::string("$\3\0\0", 4) + "\r\nPLAY v RTSP/1.0\r\n\r\n";
    for (const size_t piece : {size_t{1}, size_t{5}, all.size()}) {
        RtspRequestReader reader;
        std::string input;
        std::string seen;
        for (size_t at = 0; at < all.size(); at += piece) {
            input += all.substr(at, piece);
            for (auto got = reader.Read(input); got != Progress::kMore; got = reader.Read(input)) {
                ASSERT_NE(got, Progress::kFailed);
                if (got == Progress::kPacket)
                    seen += std::to_string(reader.Channel()) + reader.Packet() + " ";
                else
                    seen += reader.Request().method + reader.Request().body + " ";
            }
        }
        EXPECT_EQ(seen, "1ab SET_PARAMETERxyz 3 PLAY ");
        EXPECT_EQ(input, "");
    }
}

TEST(RtspTransportTest, SendsToNobodyButThePlayer) {
    const auto choose = [](const std::string& header) {
        RtspTransport transport;
        const int status = ChooseRtspTransport(header, "10.0.0.1", transport);
        return status != 200 ? std::to_string(status)
               : transport.isTcp
                   ? "tcp"
                   : std::to_string(transport.rtpPort) + "-" + std::to_string(transport.rtcpPort);
    };
    EXPECT_EQ(choose("RTP/AVP/TCP;unicast;interleaved=4-5"), "tcp");
    EXPECT_EQ(choose("RTP/AVP;unicast;client_port=5000-5001;mode=\"PLAY\""), "5000-5001");
    EXPECT_EQ(choose("RTP/AVP/UDP;unicast;client_port=5000"), "5000-5001");
    EXPECT_EQ(choose("RTP/AVP;multicast, RTP/AVP;unicast;client_port=6000-6001"), "6000-6001");
    EXPECT_EQ(choose("RTP/AVP;unicast;client_port=5000;destination=10.0.0.1"), "5000-5001");
    EXPECT_EQ(choose("RTP/AVP;unicast;client_port=5000;destination=10.0.0.2"), "403");
    EXPECT_EQ(choose("RTP/AVP;unicast;client_port=53-54"), "403");
    for (const char* header :
         {"", ",", "RTP/AVP;multicast", "RTP/AVP;unicast", "RTP/SAVP;unicast;client_port=5000",
          "RTP/AVP;unicast;client_port=65535", "RTP/AVP;unicast;client_port=5000-99999",
          "RTP/AVP;unicast;client_port=x", "RTP/AVP/TCP;unicast;mode=record"})
        EXPECT_EQ(choose(header), "461") << header;
}

TEST(RtspRangeTest, ReadsBothKindsOfTime) {
    const auto start = [](const std::string& text) -> int64_t {
        const auto range = ReadRtspRange(text);
        return !range ? -2 : range->startMs.value_or(-1);
    };
    EXPECT_EQ(start("npt=12.345-"), 12'345);
    EXPECT_EQ(start("npt=1:02:03.5-1:03:00"), 3'723'500);
    EXPECT_EQ(start("npt=now-"), -1);
    EXPECT_EQ(start("npt=-20"), -1);
    EXPECT_EQ(start("clock=20240502T080000.25Z-20240502T090000Z;time=x"), 1'714'636'800'250);
    EXPECT_EQ(start("clock=20240502T080000Z-"), 1'714'636'800'000);
    for (const char* text : {"", "npt=", "smpte=0:0:0-", "npt=x-", "npt=1:2:3:4-", "npt=nan-",
                             "npt=1e9-", "npt=99999999999-", "clock=yesterday-", "clock=."})
        EXPECT_LT(start(text), 0) << text;
    EXPECT_EQ(ReadRtspScale("0.5"), -2);
    EXPECT_EQ(ReadRtspScale("1e300"), 1);
    EXPECT_EQ(RtspRangeText(true, 1'714'636'800'250, 1'714'640'400'000),
              "clock=20240502T080000.250Z-20240502T090000.000Z");
}

TEST(RtspTargetTest, NamesAStreamOrNothing) {
    const auto read = [](const std::string& uri) {
        RtspTarget target;
        std::string text;
        const int status = ReadRtspTarget(uri, 5000, target, text);
        EXPECT_EQ(status == 200, text.empty()) << uri;
        if (status != 200)
            return std::to_string(status);
        return target.stream.device + " " + std::to_string(target.stream.channel) + " " +
               std::to_string(target.stream.stream) + " " + std::to_string(target.track) +
               (target.isLive ? "" : " " + std::to_string(target.from)) +
               (target.isLive ? "" : " " + std::to_string(target.to));
    };
    EXPECT_EQ(read("rtsp://h:8554/live/a%2fb%20c/3"), "a/b c 3 0 -1");
    EXPECT_EQ(read("rtsps://h/live/a/0/?stream=1"), "a 0 1 -1");
    EXPECT_EQ(read("rtsp://h/live/a/0/track1?stream=1"), "a 0 1 1");
    EXPECT_EQ(read("rtsp://h/live/a/0?stream=1/track1"), "a 0 1 1");
    EXPECT_EQ(read("rtsp://h/live/a/0?stream=1/"), "a 0 1 -1");
    EXPECT_EQ(read("rtsp://h/play/a/0?from=1000&to=1970-01-01T00:20:00Z"), "a 0 0 -1 1000 1200");
    EXPECT_EQ(read("rtsp://h/play/a/0?from=1000"), "a 0 0 -1 1000 5000");
    for (const char* uri :
         {"*", "", "rtsp://h/live/a%00/0", "rtsp://h/live/%zz/0", "rtsp://h/live/a/x",
          "rtsp://h/live//0", "rtsp://h/live/a/-1", "http://h/live/a/0", "rtsp://h/play/a/0",
          "rtsp://h/play/a/0?from=9&to=8", "rtsp://h/live/../0", "rtsp://h/play/a/0?from=6000"})
        EXPECT_EQ(read(uri), "400") << uri;
    EXPECT_EQ(read("rtsp://h/other/a/0"), "404");
    EXPECT_EQ(read("rtsp://h"), "404");
    EXPECT_EQ(RtspTrackUri("rtsp://h/live/a/0/?stream=1", 1), "rtsp://h/live/a/0/track1?stream=1");
    EXPECT_EQ(RtspTrackUri("rtsp://h/live/a/0/track0", 1), "rtsp://h/live/a/0/track1");
}

class RtspBoundsTest : public RtspFixture {};

TEST_F(RtspBoundsTest, RequestsAreAnsweredInOrderWhateverComesBetween) {
    Start();
    RtspTestClient client(Port());
    ASSERT_EQ(Describe(client).status, 200);
    std::string burst(std::string("$\0\0\3abc$\xff\0\1x", 12));
    burst += RtspTestClient::Text(11, "OPTIONS", "*");
    burst += RtspTestClient::Text(12, "DESCRIBE", kLive) + std::string("$\1\0\0", 4);
    burst += RtspTestClient::Text(13, "PLAY", kLive);
    burst += RtspTestClient::Text(14, "SETUP", kLive, Inside());
    burst += RtspTestClient::Text(15, "SETUP", std::string(kLive) + "/track7", Inside());
    burst += RtspTestClient::Text(16, "DESCRIBE", kLive, {{"Accept", "text/html"}});
    burst += RtspTestClient::Text(17, "RECORD", kLive);
    burst += RtspTestClient::Text(18, "PLAY", kLive, {{"Require", "magic"}});
    burst += RtspTestClient::Text(19, "GET_PARAMETER", kLive);
    burst += RtspTestClient::Text(20, "GET_PARAMETER", kLive, {{"Session", "1234"}});
    ASSERT_TRUE(client.socket.Send(burst));
    std::string order;
    for (int i = 0; i < 10; ++i) {
        const auto reply = client.Next();
        order += reply.sequence + ":" + std::to_string(reply.status) + " ";
    }
    EXPECT_EQ(order, "11:200 12:200 13:454 14:459 15:404 16:406 17:501 18:551 19:200 20:454 ");
    EXPECT_EQ(client.media, "");
}

TEST_F(RtspBoundsTest, AConnectionHasOneSession) {
    RtspSettings settings;
    settings.udpPlayers = 0;
    Start(settings);
    RtspTestClient client(Port());
    ASSERT_EQ(Describe(client).status, 200);
    const std::string track = std::string(kLive) + "/track0";
    ASSERT_EQ(client.Ask("SETUP", track, Inside()).status, 200);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(client.socket.Send(RtspTestClient::Text(i, "SETUP", track, Inside())));
        ASSERT_EQ(client.Next().status, 455);
    }
    EXPECT_EQ(client.Ask("SETUP", "rtsp://host/live/hall/1/track0", Inside()).status, 455);
    EXPECT_EQ(client
                  .Ask("SETUP", std::string(kLive) + "/track1",
                       {{"Transport", "RTP/AVP;unicast;client_port=5000-5001"}})
                  .status,
              461)
        << "half over UDP";
    EXPECT_EQ(players_.All().size(), 1U);
    EXPECT_EQ(asked, 1);
    // What could not be set up leaves no session behind.
    RtspTestClient other(Port());
    EXPECT_EQ(other.Ask("SETUP", track, {{"Transport", "RTP/AVP;unicast;client_port=5000"}}).status,
              503);
    EXPECT_EQ(other.Ask("SETUP", track, {{"Transport", "RTP/AVP;multicast"}}).status, 461);
    EXPECT_EQ(other.Ask("SETUP", track, Inside()).status, 200);
}

TEST_F(RtspBoundsTest, ConnectionsWithoutASessionMakeRoom) {
    RtspSettings settings;
    settings.connections = 2;
    Start(settings);
    RtspTestClient watching(Port());
    ASSERT_EQ(Describe(watching).status, 200);
    Watch(watching);
    RtspTestClient idle(Port());
    EXPECT_EQ(idle.Ask("OPTIONS", "*").status, 200);
    RtspTestClient newcomer(Port());
    ASSERT_EQ(newcomer.Ask("SETUP", std::string(kLive) + "/track0", Inside()).status, 200);
    std::string rest;
    EXPECT_TRUE(idle.socket.ReadToEnd(rest));
    RtspTestClient tooMany(Port());
    EXPECT_EQ(tooMany.Next().status, 503);
    EXPECT_EQ(watching.Ask("GET_PARAMETER", kLive).status, 200);
}

TEST_F(RtspBoundsTest, HalfARequestAndIdlenessEnd) {
    RtspSettings settings;
    settings.tick = 10ms;
    settings.request = 100ms;
    settings.idle = 300ms;
    Start(settings);
    RtspTestClient half(Port());
    ASSERT_TRUE(half.socket.Send("OPTIONS * RTSP/1.0\r\nCSeq"));
    EXPECT_EQ(half.Next().status, 408);
    std::string rest;
    EXPECT_TRUE(half.socket.ReadToEnd(rest));
    RtspTestClient silent(Port());
    EXPECT_TRUE(silent.socket.ReadToEnd(rest));
    EXPECT_EQ(rest, "");
}

TEST_F(RtspBoundsTest, AMegabyteIsNoRequest) {
    Start();
    for (const std::string& begin :
         {std::string(), std::string("OPTIONS * RTSP/1.0\r\nA: "),
          RtspTestClient::Text(1, "SET_PARAMETER", "*", {{"Content-Length", "1048576"}})}) {
        RtspTestClient client(Port());
        client.socket.Send(begin + std::string(1 << 20, 'x'));
        const int status = client.Next().status;
        EXPECT_TRUE(status == 413 || status == 400) << status;
    }
    // Nor is one answered who never reads.
    RtspTestClient deaf(Port(), 4096);
    std::string many;
    for (int i = 0; i < 1000; ++i)
        many += RtspTestClient::Text(i, "OPTIONS", "*");
    bool takes = true;
    for (int i = 0; i < 200 && takes; ++i)
        takes = deaf.socket.Send(many);
    EXPECT_FALSE(takes);
}

/// Lets in who says so, or comes with an address that is signed; others are told how.
class PickyAccess final : public RtspAccess {
public:
    void Check(const RtspCredentials& credentials, Done done) override {
        ++checks;
        const bool isSigned = credentials.uri == "rtsp://host/live/hall/0?sig=1";
        if (isSigned || credentials.authorization == "right " + credentials.uri)
            done({200, {}, 0, until});
        else
            done({401, {"Digest algorithm=SHA-256", "Digest algorithm=MD5"}});
    }
    std::atomic<int> checks{0};
    std::atomic<int64_t> until{0};
};

TEST_F(RtspBoundsTest, WhoIsNotLetInIsToldHow) {
    PickyAccess access;
    Start({}, &access);
    RtspTestClient client(Port());
    EXPECT_EQ(client.Ask("OPTIONS", "*").status, 200);
    const auto refused = client.Ask("DESCRIBE", kLive);
    EXPECT_EQ(refused.status, 401);
    EXPECT_EQ(refused.headers.at("WWW-Authenticate"), "Digest algorithm=MD5");
    EXPECT_EQ(asked, 0);
    const std::string nobody = "rtsp://host/live/nobody/0/track1";
    EXPECT_EQ(client.Ask("SETUP", nobody, {{"Authorization", "right " + nobody}}).status, 404);
}

TEST_F(RtspBoundsTest, WhoHasBeenLetInToAStreamIsNotAskedAgainBeforeHeMustGo) {
    PickyAccess access;
    access.until = std::time(nullptr) + 2;
    RtspSettings settings;
    settings.tick = 10ms;
    Start(settings, &access);
    RtspTestClient first(Port());
    ASSERT_EQ(Describe(first, "?sig=1").status, 200);
    Watch(first, {0, 1}, "?sig=1");
    EXPECT_EQ(access.checks, 1);
    EXPECT_EQ(first.Ask("DESCRIBE", "rtsp://host/live/hall/1?sig=1").status, 401);
    RtspTestClient second(Port());
    EXPECT_EQ(second.Ask("SETUP", std::string(kLive) + "/track0?sig=1", Inside()).status, 200);
    while (first.NextPacket()) {
    }
    EXPECT_GE(std::time(nullptr), access.until);
}

}  // namespace
