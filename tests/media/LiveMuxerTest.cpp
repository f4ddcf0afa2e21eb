// Streams in containers that are read as they are written: what libav reads back of them.
#include "media/mux/LiveMuxer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "media/audio/SoundTranscoder.h"
#include "tests/media/ClipUnits.h"

namespace {

using vms::LiveContainer;
using vms::LiveMuxer;
using vms::LivePiece;
using vms::MediaUnit;
using vms::UnitKind;
using vms::test::ClipFolder;
using vms::test::FoundMedia;

/// Clips are made once for all cases.
class LiveMuxerTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        using namespace vms::test;
        folder_ = new ClipFolder;
        h264_ = UnitsOf(folder_->Make("h264.mp4", 3, "320x180", H264(), Aac()));
        h265_ = UnitsOf(folder_->Make("h265.mkv", 3, "320x180", H265(), ALaw()));
        small_ = UnitsOf(folder_->Make("small.mp4", 2, "160x90", H264(), Aac()));
    }
    static void TearDownTestSuite() {
        delete folder_;
        folder_ = nullptr;
    }

    std::vector<LivePiece> Mux(LiveMuxer& muxer, const std::vector<MediaUnit>& units) {
        std::vector<LivePiece> pieces;
        for (const MediaUnit& unit : units)
            muxer.Take(unit, pieces);
        return pieces;
    }

    /// As somebody receives it who loses nothing, from a piece on.
    static std::string Received(const LiveMuxer& muxer, const std::vector<LivePiece>& pieces,
                                size_t from = 0) {
        std::string bytes = muxer.Head();
        for (size_t i = from; i < pieces.size(); ++i)
            bytes += pieces[i].bytes.substr(pieces[i].gapBytes);
        return bytes;
    }

    FoundMedia ReadBack(const std::string& bytes) {
        return vms::test::ReadBack(bytes, *folder_ / "out");
    }
    std::string Complaints() { return vms::test::Complaints(*folder_ / "out"); }

    static std::vector<MediaUnit> Transcoded(const std::vector<MediaUnit>& units) {
        vms::SoundTranscoder transcoder;
        std::vector<MediaUnit> out;
        for (const MediaUnit& unit : units) {
            if (vms::SoundTranscoder::Takes(unit))
                transcoder.Take(unit, out);
            else
                out.push_back(unit);
        }
        return out;
    }

    static void ExpectNoGaps(const std::vector<double>& times, double step, double slack) {
        for (size_t i = 1; i < times.size(); ++i)
            ASSERT_NEAR(times[i] - times[i - 1], step, slack) << "at " << times[i];
    }

    static size_t SecondKey(const std::vector<LivePiece>& pieces) {
        size_t keys = 0;
        for (size_t i = 0; i < pieces.size(); ++i) {
            if (pieces[i].kind == UnitKind::kKeyPicture && ++keys == 2)
                return i;
        }
        return pieces.size();
    }

    static ClipFolder* folder_;
    static std::vector<MediaUnit> h264_;
    static std::vector<MediaUnit> h265_;
    static std::vector<MediaUnit> small_;
};

ClipFolder* LiveMuxerTest::folder_ = nullptr;
std::vector<MediaUnit> LiveMuxerTest::h264_;
std::vector<MediaUnit> LiveMuxerTest::h265_;
std::vector<MediaUnit> LiveMuxerTest::small_;

constexpr LiveContainer kBoth[] = {LiveContainer::kTransportStream, LiveContainer::kFragments};

TEST_F(LiveMuxerTest, ReadersBeginAtAnyKeyPicture) {
    for (const LiveContainer container : kBoth) {
        LiveMuxer muxer(container);
        const auto pieces = Mux(muxer, h264_);
        for (const size_t from : {size_t{0}, SecondKey(pieces)}) {
            const FoundMedia media = ReadBack(Received(muxer, pieces, from));
            EXPECT_EQ(media.video, "h264");
            EXPECT_EQ(media.audio, "aac");
            EXPECT_EQ(media.Times(true).size(), from == 0 ? 75 : 50);
            ExpectNoGaps(media.Times(true), 0.04, 0.001);
            ExpectNoGaps(media.Times(false), 0.064, 0.0001);
            EXPECT_NEAR(media.Times(true).front(), from == 0 ? 0 : 1, 0.07);
            EXPECT_NEAR(media.Times(false).front() - media.Times(true).front(), 0, 0.07);
            EXPECT_EQ(Complaints(), "");
        }
    }
}

TEST_F(LiveMuxerTest, TelephoneSoundBecomesAacBesideH265) {
    for (const LiveContainer container : kBoth) {
        LiveMuxer muxer(container);
        const auto pieces = Mux(muxer, Transcoded(h265_));
        const FoundMedia media = ReadBack(Received(muxer, pieces));
        EXPECT_EQ(media.video, "hevc");
        EXPECT_EQ(media.audio, "aac");
        ExpectNoGaps(media.Times(true), 0.04, 0.001);
        ExpectNoGaps(media.Times(false), 0.128, 0.0001);
        EXPECT_GE(media.Times(false).size(), 20);
        EXPECT_EQ(Complaints(), "");
    }
}

TEST_F(LiveMuxerTest, AFileHasItsIndexAtItsEnd) {
    for (const auto* units : {&h264_, &h265_}) {
        LiveMuxer muxer(LiveContainer::kFile);
        auto pieces = Mux(muxer, Transcoded(*units));
        muxer.Finish(pieces);
        const FoundMedia media = ReadBack(Received(muxer, pieces));
        EXPECT_EQ(media.video, units == &h264_ ? "h264" : "hevc");
        EXPECT_EQ(media.audio, "aac");
        EXPECT_EQ(media.Times(true).size(), 75);
        ExpectNoGaps(media.Times(true), 0.04, 0.001);
        ExpectNoGaps(media.Times(false), units == &h264_ ? 0.064 : 0.128, 0.0001);
        EXPECT_EQ(Complaints(), "");
    }
}

}  // namespace
