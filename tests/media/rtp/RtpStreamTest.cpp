// Units that become packets of RTP: their order, times and reports, and what is left out.
#include "media/rtp/RtpStream.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "media/MediaError.h"
#include "media/rtp/JpegRewriter.h"
#include "media/rtp/RtpProbe.h"
#include "tests/media/ClipUnits.h"
#include "tests/media/rtp/RtpTestUnits.h"
#include "tests/support/ChildProcess.h"

namespace {

using vms::MediaUnit;
using vms::RtpLine;
using vms::RtpStream;
using vms::test::BigFieldAt;
using vms::test::ControlOf;
using vms::test::MediaOf;
using vms::test::Picture;
using vms::test::RtpPacket;
using vms::test::Sound;

constexpr int64_t kForward = 3'000'000;
constexpr int64_t kNow = 1'772'697'600'000'000;  ///< us since the epoch

/// Where on the line units are put, us.
std::vector<int64_t> Places(RtpLine& line, const std::vector<uint32_t>& times) {
    std::vector<int64_t> places;
    for (const uint32_t time : times)
        places.push_back(line.Of(time).us);
    return places;
}
using Us = std::vector<int64_t>;

TEST(RtpLineTest, GoesOnWhereTimesWrapOrJump) {
    RtpLine line(kForward);
    EXPECT_EQ(Places(line, {4'294'967'290, 34, 0}), (Us{0, 40'000, 6'000}));
    // Back, as a source that begins anew; far ahead, as one that had nothing in between.
    EXPECT_EQ(Places(line, {4'294'900'000, 4'294'900'040}), (Us{80'000, 120'000}));
    EXPECT_EQ(Places(line, {5'000'000}), (Us{160'000}));
    EXPECT_TRUE(line.Of(1).isJump);
    EXPECT_FALSE(line.Of(41).isJump);
}

TEST(RtpLineTest, WhatLeadsUpToTheTimeThatWasAskedForTakesNoTime) {
    RtpLine line(kForward);
    Places(line, {0, 40});
    const int64_t start = line.Begin(60'500, 1);
    EXPECT_GT(start, 40'000 + RtpLine::kLeadIn - 1);
    Us leadIn = Places(line, {59'960, 60'000, 60'480});
    EXPECT_GE(leadIn.front(), start - RtpLine::kLeadIn);
    EXPECT_TRUE(leadIn[0] < leadIn[1] && leadIn[1] < leadIn[2] && leadIn[2] < start);
    EXPECT_EQ(Places(line, {60'500, 60'540}), (Us{start, start + 40'000}));
    // However many there are.
    line.Begin(100'000, 1);
    for (uint32_t i = 0; i < 2000; ++i)
        EXPECT_TRUE(line.Of(90'000 + i).isLeadIn);
}

TEST(RtpLineTest, RunsAtThePaceOfWhoWatches) {
    RtpLine line(kForward);
    const int64_t fast = line.Begin(10'000, 4);
    EXPECT_EQ(Places(line, {10'000, 10'400}), (Us{fast, fast + 100'000}));
    const int64_t slow = line.Begin(10'400, 0.5);
    EXPECT_EQ(Places(line, {10'440}), (Us{slow + 80'000}));
    // Nothing was recorded where it was sought: the line goes on all the same.
    const int64_t gap = line.Begin(20'000, 1);
    EXPECT_EQ(Places(line, {90'000, 90'040}), (Us{gap, gap + 40'000}));
}

class RtpStreamTest : public testing::Test {
protected:
    RtpStream Stream() { return RtpStream(&key_, &sound_, kForward); }

    static std::vector<RtpPacket> Pack(RtpStream& stream, const MediaUnit& unit) {
        const auto packed = stream.Pack(unit, kNow);
        return packed ? MediaOf(packed->packets) : std::vector<RtpPacket>();
    }

    const MediaUnit key_ = Picture(true, 1000, 5000);
    const MediaUnit sound_ = Sound(1000);
};

TEST_F(RtpStreamTest, PacketsFollowEachOtherAndEndEachPicture) {
    RtpStream stream = Stream();
    ASSERT_EQ(stream.Tracks(), 2U);
    std::vector<RtpPacket> packets = Pack(stream, key_);
    const std::vector<RtpPacket> next = Pack(stream, Picture(false, 1040, 3000));
    ASSERT_GE(packets.size(), 4U);
    EXPECT_EQ(next.front().time - packets.front().time, 3600U);
    packets.insert(packets.end(), next.begin(), next.end());
    int last = 0;
    for (size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i].sequence, static_cast<uint16_t>(packets[0].sequence + i));
        EXPECT_EQ(packets[i].source, stream.Track(0).Source());
        EXPECT_LE(packets[i].payload.size(), vms::RtpPayloads::kMostBytes);
        last += packets[i].isLast ? 1 : 0;
    }
    EXPECT_TRUE(next.back().isLast);
    EXPECT_EQ(last, 2);
    EXPECT_EQ(stream.NextOf(0).sequence, static_cast<uint16_t>(packets.back().sequence + 1));
}

TEST_F(RtpStreamTest, SoundIsCountedBySamples) {
    RtpStream stream = Stream();
    const uint32_t begin = Pack(stream, sound_).front().time;
    // Units that stray by some ms follow each other all the same.
    EXPECT_EQ(Pack(stream, Sound(1043)).front().time, begin + 320);
    EXPECT_EQ(Pack(stream, Sound(1075, 3000)).front().time, begin + 640);
    // What lies far off is moved there, and what has been said already is left out.
    EXPECT_TRUE(Pack(stream, Sound(1100)).empty());
    EXPECT_EQ(Pack(stream, Sound(2000)).front().time, begin + 8000);
    const std::vector<RtpPacket> parts = Pack(stream, Sound(2040, 3000));
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_EQ(parts[1].time - parts[0].time, vms::RtpPayloads::kMostBytes);
}

TEST_F(RtpStreamTest, ReportsTieBothTracksToTheWallClock) {
    RtpStream stream = Stream();
    const auto picture = stream.Pack(key_, kNow);
    const auto sound = stream.Pack(Sound(1020), kNow + 21'000);
    ASSERT_TRUE(picture && sound);
    const std::vector<std::string> reports = ControlOf(stream.Reports(3, picture->lineUs));
    ASSERT_EQ(reports.size(), 2U);
    for (const std::string& report : reports) {
        EXPECT_EQ(BigFieldAt<uint32_t>(report, 0), 0x80c80006U);
        EXPECT_EQ(BigFieldAt<uint32_t>(report, 8), kNow / 1'000'000 + 2'208'988'800);
        EXPECT_EQ(report.size() % 4, 0U);
    }
    EXPECT_EQ(BigFieldAt<uint32_t>(reports[0], 16), picture->time);
    EXPECT_EQ(BigFieldAt<uint32_t>(reports[1], 16), sound->time - 160);
    EXPECT_EQ(BigFieldAt<uint32_t>(reports[0], 4), stream.Track(0).Source());
    EXPECT_GT(BigFieldAt<uint32_t>(reports[0], 20), 0U);
    // The first unit of a track brings one, and others every five seconds.
    EXPECT_EQ(ControlOf(picture->packets).size(), 1U);
    EXPECT_EQ(ControlOf(stream.Pack(Picture(false, 5000), kNow + 4'900'000)->packets).size(), 0U);
    EXPECT_EQ(ControlOf(stream.Pack(Picture(false, 6100), kNow + 5'100'000)->packets).size(), 1U);
    const std::string farewell = ControlOf(stream.Farewells(2, kNow)).at(0);
    EXPECT_EQ(BigFieldAt<uint32_t>(farewell, farewell.size() - 8), 0x81cb0001U);
    EXPECT_EQ(BigFieldAt<uint32_t>(farewell, farewell.size() - 4), stream.Track(1).Source());
}

TEST_F(RtpStreamTest, TheReplayExtensionStandsOnTheFirstPacketOfAUnit) {
    RtpStream stream = Stream();
    stream.Begin(1000, 1);
    vms::ReplayMark mark;
    mark.unixUs = kNow + 250'000;
    mark.isClean = true;
    mark.request = 7;
    const auto packets = MediaOf(stream.Pack(key_, kNow, mark)->packets);
    ASSERT_GT(packets.size(), 1U);
    const std::string& extension = packets[0].extension;
    ASSERT_EQ(extension.size(), 16U);
    EXPECT_EQ(BigFieldAt<uint32_t>(extension, 0), 0xabac0003U);
    EXPECT_EQ(BigFieldAt<uint32_t>(extension, 4), kNow / 1'000'000 + 2'208'988'800);
    EXPECT_EQ(BigFieldAt<uint32_t>(extension, 8), 0x40000000U);
    EXPECT_EQ(BigFieldAt<uint32_t>(extension, 12), 0xa0070000U);  // clean, and begins anew
    EXPECT_EQ(packets[1].extension, "");
    mark.isClean = false;
    const auto next = MediaOf(stream.Pack(Picture(false, 1040), kNow, mark)->packets);
    EXPECT_EQ(BigFieldAt<uint32_t>(next[0].extension, 12), 0x00070000U);
}

TEST_F(RtpStreamTest, WhatCannotTravelIsLeftOutOrRefused) {
    RtpStream stream = Stream();
    vms::MediaUnitHeader header;
    header.type = vms::MediaType::kAudio;
    header.codec = static_cast<uint8_t>(vms::AudioCodec::kAac);
    const MediaUnit aac = vms::test::UnitOf(header, std::string("\xff\xf1\x50\x40\xff\x1f\xfc", 7));
    EXPECT_TRUE(stream.HasChanged(aac));
    EXPECT_TRUE(Pack(stream, aac).empty());
    EXPECT_TRUE(Pack(stream, MediaUnit::Copy("short")).empty());
    EXPECT_TRUE(Pack(stream, Sound(1000, 0)).empty());
    header = key_.Header();
    for (const auto& payload : {std::string("\0\0\1", 3), std::string("\0\0\0\1", 4),
                                std::string("nothing"), std::string("\0\0\1\x65", 4)})
        Pack(stream, vms::test::UnitOf(header, payload));

    EXPECT_THROW(RtpStream(&aac, nullptr, kForward), vms::MediaError);
    const MediaUnit bare = vms::test::UnitOf(header, std::string("\0\0\0\1\x65zzzz", 9));
    EXPECT_THROW(RtpStream(&bare, nullptr, kForward), vms::MediaError);
    EXPECT_EQ(RtpStream(&key_, &aac, kForward).Tracks(), 1U) << "the sound alone is left out";
    header.codec = static_cast<uint8_t>(vms::VideoCodec::kJpeg);
    for (const std::string& jpeg :
         {std::string("\xff\xd8"), std::string("\xff\xd8\xff\xc0\x00\x11\x08\xff\xff", 9),
          std::string("\xff\xd8\xff\xda\x00\x02", 6), std::string("\xff\xd8\xff\xdb\xff\xff", 6)}) {
        const MediaUnit picture = vms::test::UnitOf(header, jpeg);
        EXPECT_THROW(RtpStream(&picture, nullptr, kForward), vms::MediaError);
    }
}

TEST(RtpProbeTest, LooksForSoundBesidePicturesButNotForEver) {
    vms::RtpProbe probe;
    probe.Take(Picture(false, 0));
    probe.Take(Sound(0));
    EXPECT_FALSE(probe.IsKnown()) << "there are pictures, but none to begin with";
    EXPECT_FALSE(probe.Settle());
    probe.Take(Picture(true, 40));
    EXPECT_TRUE(probe.IsKnown());
    EXPECT_EQ(probe.TakeKept().size(), 1U);

    vms::RtpProbe silent;
    silent.Take(Picture(true, 0));
    silent.Take(Picture(false, 480));
    EXPECT_FALSE(silent.IsKnown());
    silent.Take(Picture(false, 520));
    EXPECT_TRUE(silent.IsKnown());
    EXPECT_EQ(silent.Sound(), nullptr);

    vms::RtpProbe soundOnly;
    soundOnly.Take(Sound(0));
    EXPECT_FALSE(soundOnly.IsKnown());
    EXPECT_TRUE(soundOnly.Settle());
    EXPECT_EQ(soundOnly.Pictures(), nullptr);
}

/// What ffmpeg has coded.
class RtpClipTest : public testing::Test {
protected:
    static std::string DescriptionsOf(const std::filesystem::path& clip, size_t& packets) {
        vms::RtpProbe probe;
        const std::vector<MediaUnit> units = vms::test::UnitsOf(clip);
        for (const MediaUnit& unit : units)
            probe.Take(unit);
        EXPECT_TRUE(probe.IsKnown());
        RtpStream stream(probe.Pictures(), probe.Sound(), kForward);
        std::string descriptions;
        for (size_t i = 0; i < stream.Tracks(); ++i)
            descriptions += stream.Track(i).Description();
        for (const MediaUnit& unit : units) {
            const auto packed = stream.Pack(unit, kNow);
            EXPECT_TRUE(packed);
            packets += packed ? MediaOf(packed->packets).size() : 0;
        }
        return descriptions;
    }

    vms::test::ClipFolder folder_;
};

TEST_F(RtpClipTest, DescriptionsNameCodecsAndParameterSets) {
    size_t packets = 0;
    const std::string h264 = DescriptionsOf(
        folder_.Make("a.mp4", 1, "320x240", vms::test::H264(), vms::test::Aac()), packets);
    for (const char* part :
         {"m=video 0 RTP/AVP 96\r\n", "a=rtpmap:96 H264/90000\r\n", "packetization-mode=1",
          "sprop-parameter-sets=", "m=audio 0 RTP/AVP 97\r\n", "a=rtpmap:97 MPEG4-GENERIC/",
          "config=", "mode=AAC-hbr"})
        EXPECT_NE(h264.find(part), std::string::npos) << part << " in " << h264;
    EXPECT_EQ(h264.find("a=control"), std::string::npos);
    const std::string h265 = DescriptionsOf(
        folder_.Make("b.mkv", 1, "320x240", vms::test::H265(), vms::test::ALaw()), packets);
    for (const char* part : {"H265/90000", "sprop-vps=", "m=audio 0 RTP/AVP 8\r\n"})
        EXPECT_NE(h265.find(part), std::string::npos) << part << " in " << h265;
    EXPECT_GT(packets, 100U);
}

/// What ffmpeg makes has Huffman tables of its own, and one quantization table for all.
TEST_F(RtpClipTest, JpegIsMadeToFitWithoutLoss) {
    const auto clip = folder_.Make("c.mkv", 1, "320x240", {"-c:v", "mjpeg", "-q:v", "5"}, {});
    size_t packets = 0;
    const std::string description = DescriptionsOf(clip, packets);
    EXPECT_TRUE(description.starts_with("m=video 0 RTP/AVP 26\r\n")) << description;
    EXPECT_GT(packets, 25U);
    const std::string picture(vms::test::UnitsOf(clip).front().Payload());
    const std::string rewritten = vms::RewriteJpeg(picture);
    const auto decoded = [this](const std::string& bytes) {
        const auto file = folder_ / "picture.jpg";
        std::ofstream(file, std::ios::binary) << bytes;
        EXPECT_EQ(vms::test::Run({"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", file, "-f",
                                  "rawvideo", folder_ / "raw"}),
                  0);
        std::ostringstream raw;
        raw << std::ifstream(folder_ / "raw", std::ios::binary).rdbuf();
        return raw.str();
    };
    EXPECT_NE(rewritten, picture);
    EXPECT_TRUE(decoded(rewritten) == decoded(picture));
    EXPECT_EQ(vms::RewriteJpeg(picture.substr(0, 200)), "");
    EXPECT_EQ(vms::RewriteJpeg("nothing"), "");
}

}  // namespace
