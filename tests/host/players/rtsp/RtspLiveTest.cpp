// Live streams over RTSP: who gets what, in which order, and when it ends.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/host/players/rtsp/RtspFixture.h"

namespace {

using namespace std::chrono_literals;
using namespace vms::host;
using vms::host::test::MediaOf;
using vms::host::test::Picture;
using vms::host::test::RtpPacket;
using vms::host::test::RtspFixture;
using vms::host::test::RtspTestClient;
using vms::host::test::Sound;

/// A player's end of UDP.
class UdpEnd {
public:
    UdpEnd() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        bind(socket_, reinterpret_cast<sockaddr*>(&address), size);
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
    }
    ~UdpEnd() { close(socket_); }
    UdpEnd(const UdpEnd&) = delete;
    UdpEnd& operator=(const UdpEnd&) = delete;

    int Port() const { return port_; }

    /// @param from set to the port it came from @return false when nothing came
    [[nodiscard]] bool Receive(std::string& packet, int& from) const {
        pollfd entry{socket_, POLLIN, 0};
        if (poll(&entry, 1, 20'000) <= 0)
            return false;
        char bytes[2048];
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        const ssize_t count =
            recvfrom(socket_, bytes, sizeof bytes, 0, reinterpret_cast<sockaddr*>(&peer), &size);
        from = ntohs(peer.sin_port);
        packet.assign(bytes, count > 0 ? static_cast<size_t>(count) : 0);
        return count > 0;
    }

    void SendTo(int port, std::string_view bytes) const {
        sockaddr_in peer{};
        peer.sin_family = AF_INET;
        peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        peer.sin_port = htons(static_cast<uint16_t>(port));
        sendto(socket_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&peer),
               sizeof peer);
    }

private:
    const int socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    int port_ = 0;
};

/// A number behind a name in a header.
int NumberAfter(const std::string& text, const std::string& name) {
    const size_t at = text.find(name);
    return at == std::string::npos ? -1 : std::atoi(text.c_str() + at + name.size());
}

class RtspLiveTest : public RtspFixture {};

TEST_F(RtspLiveTest, APlayerGetsTheGroupAndThenTheStreamWithoutAGap) {
    Start();
    RtspTestClient first(Port());
    const auto described = Describe(first);
    ASSERT_EQ(described.status, 200);
    EXPECT_NE(described.body.find("a=control:rtsp://host/live/hall/0/track1\r\n"),
              std::string::npos)
        << described.body;
    Watch(first);
    const auto relay = Asker(TV_STREAM_PREVIEW_START);
    Send(*relay, Picture(false, 1040, 2000));
    Send(*relay, Sound(1040));

    RtspTestClient second(Port());
    EXPECT_EQ(second.Ask("SETUP", std::string(kLive) + "/track0", Inside()).status, 200)
        << "without a description";
    EXPECT_EQ(second.Ask("SETUP", std::string(kLive) + "/track1", Inside()).status, 200);
    const auto played = second.Ask("PLAY", kLive);
    ASSERT_EQ(played.status, 200);
    EXPECT_EQ(second.media, "") << "the answer comes first";
    Send(*relay, Picture(false, 1080, 100));
    const auto early = Packets(first, 8);
    const auto late = Packets(second, 8);
    for (size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(early[i].sequence, late[i].sequence);
        EXPECT_TRUE(early[i].payload == late[i].payload);
    }
    const std::string& info = played.headers.at("RTP-Info");
    EXPECT_EQ(NumberAfter(info, "track0;seq="), late[0].sequence);
    EXPECT_NE(info.find("rtptime=" + std::to_string(late[0].time)), std::string::npos);
    EXPECT_EQ(asked, 1) << "one pull for both";
    const auto list = players_.All();
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0]->Describe().kind, "rtsp/tcp");
    EXPECT_EQ(list[0]->Describe().key, "live/hall/0");
}

TEST_F(RtspLiveTest, OneTrackAloneComesAlone) {
    Start();
    RtspTestClient all(Port());
    ASSERT_EQ(Describe(all).status, 200);
    Watch(all);
    RtspTestClient listener(Port());
    Watch(listener, {1});
    const auto relay = Asker(TV_STREAM_PREVIEW_START);
    for (uint32_t time = 1040; time < 1400; time += 40) {
        Send(*relay, Picture(false, time));
        Send(*relay, Sound(time));
    }
    for (const RtpPacket& packet : Packets(listener, 9))
        EXPECT_EQ(packet.track, 1);
}

TEST_F(RtspLiveTest, AfterAPauseItGoesOnWhereItWas) {
    Start();
    RtspTestClient client(Port());
    ASSERT_EQ(Describe(client).status, 200);
    Watch(client);
    const auto relay = Asker(TV_STREAM_PREVIEW_START);
    const size_t before = Packets(client, 5).size();
    EXPECT_EQ(client.Ask("PAUSE", kLive).status, 200);
    Send(*relay, Picture(false, 1040));
    EXPECT_EQ(client.Ask("GET_PARAMETER", kLive).status, 200);
    EXPECT_EQ(MediaOf(client.media).size(), before) << "nothing comes meanwhile";
    EXPECT_EQ(client.Ask("PLAY", kLive).status, 200);
    const auto packets = Packets(client, before + 1);
    EXPECT_EQ(packets.size(), before + 1);
    EXPECT_EQ(packets.back().sequence, static_cast<uint16_t>(packets[before - 2].sequence + 1));
    EXPECT_EQ(client.Ask("PLAY", kLive).status, 200);
    EXPECT_EQ(client.Ask("GET_PARAMETER", kLive).status, 200);
    EXPECT_EQ(MediaOf(client.media).size(), before + 1) << "nothing comes twice";
}

TEST_F(RtspLiveTest, OverUdpMediaAndReportsComeFromThePortsThatWereTold) {
    RtspSettings settings;
    settings.tick = 10ms;
    settings.session = 400ms;
    Start(settings);
    RtspTestClient client(Port());
    ASSERT_EQ(Describe(client).status, 200);
    const UdpEnd media;
    const UdpEnd control;
    const auto setUp =
        client.Ask("SETUP", std::string(kLive) + "/track0",
                   {{"Transport", "RTP/AVP;unicast;client_port=" + std::to_string(media.Port()) +
                                      "-" + std::to_string(control.Port())}});
    ASSERT_EQ(setUp.status, 200);
    const int port = NumberAfter(setUp.headers.at("Transport"), "server_port=");
    EXPECT_EQ(port % 2, 0);
    ASSERT_EQ(client.Ask("PLAY", kLive).status, 200);
    std::string packet;
    int from = 0;
    ASSERT_TRUE(media.Receive(packet, from));
    EXPECT_EQ(from, port);
    EXPECT_EQ(static_cast<unsigned char>(packet[0]), 0x80);
    ASSERT_TRUE(control.Receive(packet, from));
    EXPECT_EQ(from, port + 1);
    EXPECT_EQ(packet.substr(1, 1), "\xc8");
    EXPECT_EQ(players_.All().at(0)->Describe().kind, "rtsp/udp");

    // As long as it reports it is there; then it is gone.
    const auto begin = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - begin < 1s) {
        control.SendTo(port + 1, std::string("\x80\xc9\x00\x01\0\0\0\1", 8));
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_EQ(players_.All().size(), 1U);
    std::string rest;
    EXPECT_TRUE(client.socket.ReadToEnd(rest));
    EXPECT_TRUE(WaitFor([this] { return players_.All().empty(); }));
    ASSERT_TRUE(module_.WaitFor("close", 1)) << "the last one gone, the stream ends";
}

TEST_F(RtspLiveTest, AUdpPlayerThatIsGoneIsGivenUp) {
    Start();
    RtspTestClient client(Port());
    ASSERT_EQ(Describe(client).status, 200);
    {
        const UdpEnd media;
        ASSERT_EQ(
            client
                .Ask("SETUP", std::string(kLive) + "/track0",
                     {{"Transport", "RTP/AVP;unicast;client_port=" + std::to_string(media.Port())}})
                .status,
            200);
    }
    ASSERT_EQ(client.Ask("PLAY", kLive).status, 200);
    const auto relay = Asker(TV_STREAM_PREVIEW_START);
    uint32_t time = 1000;
    EXPECT_TRUE(WaitFor([&] {
        Send(*relay, Picture(false, time += 40));
        return players_.All().empty();
    }));
}

TEST_F(RtspLiveTest, WhoDoesNotReadIsGivenUpAndTheOthersLoseNothing) {
    RtspSettings settings;
    settings.send.liveBytes = 100'000;
    settings.send.patience = 50ms;
    Start(settings);
    RtspTestClient good(Port());
    ASSERT_EQ(Describe(good).status, 200);
    Watch(good);
    RtspTestClient stalled(Port(), 4096);
    Watch(stalled);
    const auto relay = Asker(TV_STREAM_PREVIEW_START);
    size_t count = Packets(good, 4).size();
    uint32_t time = 1000;
    EXPECT_TRUE(WaitFor([&] {
        Send(*relay, Picture(false, time += 40, 14'000));
        count = Packets(good, count + 11).size();
        return totals_.slowPlayers == 1;
    }));
    const auto packets = MediaOf(good.media);
    for (size_t i = 1, last = 0; i < packets.size(); ++i) {
        if (packets[i].track != 0)
            continue;
        ASSERT_EQ(packets[i].sequence, static_cast<uint16_t>(packets[last].sequence + 1));
        last = i;
    }
    EXPECT_TRUE(WaitFor([this] { return players_.All().size() == 1; }));
}

TEST_F(RtspLiveTest, TheEndOfTheStreamIsToldAndEndsTheConnection) {
    Start();
    RtspTestClient client(Port());
    ASSERT_EQ(Describe(client).status, 200);
    Watch(client);
    Asker(TV_STREAM_PREVIEW_START)->Close("gone");
    while (client.NextPacket()) {
    }
    const auto reports = vms::test::ControlOf(client.media);
    ASSERT_GE(reports.size(), 2U);
    EXPECT_EQ(reports.back().substr(reports.back().size() - 7, 1), "\xcb");
}

TEST_F(RtspLiveTest, AStreamThatBringsNothingIsGivenUp) {
    RtspSettings settings;
    settings.tick = 10ms;
    settings.open = 100ms;
    Start(settings);
    RtspTestClient client(Port());
    EXPECT_EQ(client.Ask("DESCRIBE", kLive).status, 504);
    succeeds = false;
    EXPECT_EQ(client.Ask("DESCRIBE", "rtsp://host/live/hall/1").status, 404);
    EXPECT_EQ(client.Ask("DESCRIBE", "rtsp://host/live/nobody/0").status, 404);
    ASSERT_TRUE(module_.WaitFor("close", 1));
}

}  // namespace
