// Recordings over RTSP: what is sought comes at the time that was told, and nothing of before.
#include "tests/host/players/rtsp/RtspFixture.h"

namespace {

using namespace vms::host;
using vms::MediaUnit;
using vms::host::test::MediaOf;
using vms::host::test::Picture;
using vms::host::test::RtpPacket;
using vms::host::test::RtspFixture;
using vms::host::test::RtspTestClient;
using vms::host::test::Sound;

class RtspPlaybackTest : public RtspFixture {
protected:
    /// Sets the pictures up; the source has sent two pictures by then.
    void Open(RtspTestClient& client) {
        ASSERT_TRUE(client.socket.Send(RtspTestClient::Text(1, "DESCRIBE", kPlay)));
        source_ = Asker(TV_STREAM_PLAYBACK_START);
        ASSERT_NE(source_, nullptr);
        Send(*source_, Picture(true, 0));
        Send(*source_, Picture(false, 40));
        Send(*source_, Sound(40));
        const auto described = client.Next();
        ASSERT_EQ(described.status, 200);
        EXPECT_NE(described.body.find("a=range:npt=0.000-1000.000\r\n"), std::string::npos);
        EXPECT_NE(
            described.body.find("a=control:rtsp://host/play/hall/0/track0?from=1000&to=2000\r\n"),
            std::string::npos)
            << described.body;
        ASSERT_EQ(client.Ask("SETUP", "rtsp://host/play/hall/0/track0?from=1000&to=2000", Inside())
                      .status,
                  200);
    }

    RtspTestClient::Reply Play(RtspTestClient& client, const std::string& range,
                               const std::string& scale = "", Headers headers = {}) {
        if (!range.empty())
            headers["Range"] = range;
        if (!scale.empty())
            headers["Scale"] = scale;
        return client.Ask("PLAY", kPlay, headers);
    }

    static uint32_t TimeOf(const RtspTestClient::Reply& reply) {
        const std::string& info = reply.headers.at("RTP-Info");
        return static_cast<uint32_t>(std::stoul(info.substr(info.find("rtptime=") + 8)));
    }

    /// The module has heard of it. @return false when it has not
    [[nodiscard]] bool HasHeard(const std::string& event) {
        return WaitFor([&] {
            const auto all = module_.All();
            const auto& events = all.at(source_->Number());
            return std::find(events.begin(), events.end(), event) != events.end();
        });
    }

    std::shared_ptr<Receiver> source_;
};

TEST_F(RtspPlaybackTest, WaitsForThePlayerAndThenLosesNothing) {
    Start();
    RtspTestClient client(Port());
    Open(client);
    EXPECT_GT(source_->QueuedUnits(), 64) << "sources wait";
    Send(*source_, Picture(false, 80));
    const auto played = Play(client, "npt=0.000-");
    ASSERT_EQ(played.status, 200);
    EXPECT_EQ(played.headers.at("Range"), "npt=0.000-1000.000");
    EXPECT_LT(source_->QueuedUnits(), 64);
    const auto packets = Packets(client, 3);
    EXPECT_EQ(packets.front().time, TimeOf(played));
    EXPECT_EQ(packets.back().time - packets.front().time, 7200U);
    EXPECT_EQ(packets.front().extension.size(), 16U);

    ASSERT_EQ(client.Ask("PAUSE", kPlay).status, 200);
    EXPECT_TRUE(HasHeard("request 1049092 key-1 "));
    Send(*source_, Picture(false, 120));  // was on its way
    EXPECT_GT(source_->QueuedUnits(), 64);
    ASSERT_EQ(Play(client, "").status, 200);
    EXPECT_TRUE(HasHeard("request 1049093 key-1 "));
    EXPECT_EQ(Packets(client, 4).size(), 4U);
}

TEST_F(RtspPlaybackTest, ASeekLandsWhereItWasAsked) {
    Start();
    RtspTestClient client(Port());
    Open(client);
    ASSERT_EQ(Play(client, "npt=0-").status, 200);
    size_t count = Packets(client, 2).size();
    const auto played = Play(client, "clock=19700101T002500.500Z-");
    ASSERT_EQ(played.status, 200);
    EXPECT_EQ(played.headers.at("Range"), "clock=19700101T002500.500Z-19700101T003320.000Z");
    EXPECT_TRUE(HasHeard("request 1049095 key-1 1500"));
    Send(*source_, Picture(false, 80));  // still from before
    Send(*source_, Picture(true, 120));  // so is this
    Send(*source_, Picture(true, 499'000));
    Send(*source_, Picture(false, 499'960));
    Send(*source_, Picture(false, 500'500));
    Send(*source_, Picture(false, 500'540));
    const auto packets = Packets(client, count + 4);
    const uint32_t start = TimeOf(played);
    EXPECT_LE(start - packets[count].time, 900U) << "10 ms for all that leads up to it";
    EXPECT_EQ(packets[count + 2].time, start);
    EXPECT_EQ(packets[count + 3].time, start + 3600);
    // The recording's own time is told exactly.
    const std::string& extension = packets[count + 2].extension;
    EXPECT_EQ(vms::test::BigFieldAt<uint32_t>(extension, 4), 1500U + 2'208'988'800U);
    EXPECT_EQ(vms::test::BigFieldAt<uint32_t>(extension, 8), 0x80000000U);

    // Back within what has been played, to a group that begins before it.
    count = packets.size();
    const auto back = Play(client, "npt=499.2-");
    Send(*source_, Picture(false, 500'580));
    Send(*source_, Picture(true, 499'000));
    Send(*source_, Picture(false, 499'200));
    EXPECT_EQ(Packets(client, count + 2).back().time, TimeOf(back));
    EXPECT_EQ(Play(client, "npt=1000-").status, 457);
}

TEST_F(RtspPlaybackTest, WhoAsksForItIsToldWhereSectionsEnd) {
    Start();
    RtspTestClient client(Port());
    Open(client);
    ASSERT_EQ(Play(client, "", "", {{"Require", "onvif-replay"}}).status, 200);
    Send(*source_, Picture(true, 60'000));
    __tagTvCommand message{};
    message.body = "playback end";
    source_->SendCommand(message);
    std::string flags;
    for (const RtpPacket& packet : Packets(client, 3))
        flags += std::to_string(static_cast<unsigned char>(packet.extension[12]) >> 4) + " ";
    EXPECT_EQ(flags, "10 4 15 ") << "clean, jump; section's end; all four";
}

TEST_F(RtspPlaybackTest, ScaleIsTheNearestThatSourcesCanDo) {
    Start();
    RtspTestClient client(Port());
    Open(client);
    for (const auto& [scale, told, speed] :
         std::vector<std::tuple<std::string, std::string, std::string>>{{"4", "4.000000", "4"},
                                                                        {"0.3", "0.333333", "-3"},
                                                                        {"99", "16.000000", "16"},
                                                                        {"-1", "1.000000", "1"}}) {
        const auto played = Play(client, "", scale);
        EXPECT_EQ(played.headers.at("Scale"), told);
        EXPECT_TRUE(HasHeard("request 1049094 key-1 " + speed));
    }
}

TEST_F(RtspPlaybackTest, TheEndIsToldAndASeekPlaysAgain) {
    Start();
    RtspTestClient client(Port());
    Open(client);
    ASSERT_EQ(Play(client, "").status, 200);
    __tagTvCommand message{};
    message.body = "playback end";
    source_->SendCommand(message);
    std::vector<std::string> reports;
    while (client.NextPacket()) {
        reports = vms::test::ControlOf(client.media);
        if (!reports.empty() && reports.back().size() == 52)
            break;
    }
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back().substr(45, 1), "\xcb");
    const size_t count = MediaOf(client.media).size();
    ASSERT_EQ(Play(client, "npt=10-").status, 200);
    Send(*source_, Picture(true, 10'000));
    Packets(client, count + 1);
    EXPECT_EQ(client.Ask("TEARDOWN", kPlay).status, 200);
    ASSERT_TRUE(module_.WaitFor("close", 1));
}

}  // namespace
