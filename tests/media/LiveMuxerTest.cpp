// Streams in containers that are read as they are written: what libav reads back of them.
#include "media/mux/LiveMuxer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "media/LibavLog.h"
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
        vms::SilenceLibav();
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

    /// @return the first piece of the second beginning
    static size_t MuxUntilAnew(LiveMuxer& muxer, const std::vector<MediaUnit>& units,
                               std::vector<LivePiece>& pieces) {
        size_t anew = 0;
        for (const MediaUnit& unit : units) {
            const size_t before = pieces.size();
            muxer.Take(unit, pieces);
            if (anew == 0 && muxer.Beginnings() == 2)
                anew = before;
        }
        EXPECT_EQ(muxer.Beginnings(), 2);
        return anew;
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

    static MediaUnit WithRate(const MediaUnit& unit, uint16_t rate) {
        std::string bytes(unit.Bytes());
        vms::MediaUnitHeader header = unit.Header();
        header.rate = rate;
        vms::WriteMediaHeader(header, bytes.data());
        return MediaUnit::Copy(bytes);
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

/// Whoever has lost units is told where he goes on.
TEST_F(LiveMuxerTest, LosingAGroupLeavesAWholeTransportStream) {
    LiveMuxer muxer(LiveContainer::kTransportStream);
    const auto pieces = Mux(muxer, h264_);
    const size_t second = SecondKey(pieces);
    std::string torn;
    std::string bytes;
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (i > second / 2 && i < second)
            continue;
        const std::string_view piece = pieces[i].bytes;
        torn += piece.substr(pieces[i].gapBytes);
        bytes += piece.substr(i == second ? 0 : pieces[i].gapBytes);
    }
    ReadBack(torn);
    EXPECT_NE(Complaints(), "");
    EXPECT_LT(ReadBack(bytes).Times(true).size(), 75);
    EXPECT_EQ(Complaints(), "");
}

TEST_F(LiveMuxerTest, StreamsWithoutSoundBeginAfterHalfASecond) {
    for (const LiveContainer container : kBoth) {
        LiveMuxer muxer(container);
        std::vector<LivePiece> pieces;
        uint32_t time = 0;
        for (const MediaUnit& unit : h264_) {
            if (!unit.Header().IsVideo())
                continue;
            muxer.Take(unit, pieces);
            time = unit.Header().timestampMs;
            EXPECT_EQ(pieces.empty(), time < 500) << time;
        }
        EXPECT_EQ(ReadBack(Received(muxer, pieces)).audio, "");
        EXPECT_EQ(Complaints(), "");
    }
}

TEST_F(LiveMuxerTest, SoundThatBeginsLateIsTakenIn) {
    std::vector<MediaUnit> units;
    for (const MediaUnit& unit : h264_) {
        if (unit.Header().IsVideo() || unit.Header().timestampMs > 800)
            units.push_back(unit);
    }
    LiveMuxer transport(LiveContainer::kTransportStream);
    auto pieces = Mux(transport, units);
    FoundMedia media = ReadBack(Received(transport, pieces));
    ASSERT_EQ(media.audio, "aac");
    ExpectNoGaps(media.Times(true), 0.04, 0.001);
    EXPECT_NEAR(media.Times(false).front(), 0.8, 0.07);
    EXPECT_EQ(Complaints(), "");

    LiveMuxer fragments(LiveContainer::kFragments);
    pieces.clear();
    const size_t anew = MuxUntilAnew(fragments, units, pieces);
    ASSERT_GT(anew, 0);
    EXPECT_EQ(pieces[anew].kind, UnitKind::kKeyPicture);
    media = ReadBack(Received(fragments, pieces, anew));
    EXPECT_EQ(media.audio, "aac");
    EXPECT_EQ(media.Times(true).size(), 50);
    EXPECT_EQ(Complaints(), "");

    LiveMuxer file(LiveContainer::kFile);  // has begun without, and stays so
    pieces = Mux(file, units);
    file.Finish(pieces);
    media = ReadBack(Received(file, pieces));
    EXPECT_EQ(media.audio, "");
    EXPECT_EQ(media.Times(true).size(), 75);
}

TEST_F(LiveMuxerTest, PicturesMayChange) {
    std::vector<MediaUnit> units(h264_.begin(), h264_.end());
    for (const MediaUnit& unit : small_)
        units.push_back(vms::test::At(unit, unit.Header().timestampMs + 3000));
    for (const auto container : {LiveContainer::kTransportStream, LiveContainer::kFile}) {
        LiveMuxer muxer(container);
        auto pieces = Mux(muxer, units);
        muxer.Finish(pieces);
        EXPECT_EQ(muxer.Beginnings(), 1);
        const FoundMedia media = ReadBack(Received(muxer, pieces));
        EXPECT_EQ(media.Times(true).size(), 125);
        ExpectNoGaps(media.Times(true), 0.04, 0.001);
        ExpectNoGaps(media.Times(false), 0.064, 0.12);
    }
    LiveMuxer fragments(LiveContainer::kFragments);
    std::vector<LivePiece> pieces;
    const size_t anew = MuxUntilAnew(fragments, units, pieces);
    EXPECT_EQ(ReadBack(Received(fragments, pieces, anew)).Times(true).size(), 50);
    EXPECT_EQ(Complaints(), "");
}

TEST_F(LiveMuxerTest, AnotherCodecEndsAFile) {
    std::vector<MediaUnit> units(h264_.begin(), h264_.end());
    units.insert(units.end(), h265_.begin(), h265_.end());
    LiveMuxer muxer(LiveContainer::kFile);
    auto pieces = Mux(muxer, units);
    EXPECT_EQ(muxer.Beginnings(), 2);
    const size_t count = pieces.size();
    muxer.Finish(pieces);
    EXPECT_EQ(pieces.size(), count);
    EXPECT_EQ(ReadBack(Received(muxer, pieces)).Times(true).size(), 75);
    EXPECT_EQ(Complaints(), "");
}

/// A source that plays its recording round after round, and one that has been silent for hours.
TEST_F(LiveMuxerTest, TimesGoOnWhereTheSourceJumps) {
    for (const uint32_t jump : {uint32_t{0}, uint32_t{40'000'000}}) {
        std::vector<MediaUnit> units(h264_.begin(), h264_.end());
        for (const MediaUnit& unit : h264_)
            units.push_back(vms::test::At(unit, unit.Header().timestampMs + jump));
        for (const LiveContainer container : kBoth) {
            LiveMuxer muxer(container);
            const auto pieces = Mux(muxer, units);
            const FoundMedia media = ReadBack(Received(muxer, pieces));
            EXPECT_EQ(media.Times(true).size(), 150);
            ExpectNoGaps(media.Times(true), 0.04, 0.06);
            ExpectNoGaps(media.Times(false), 0.064, 0.12);
            EXPECT_NEAR(media.Times(false).back() - media.Times(true).back(), 0, 0.15);
            EXPECT_EQ(Complaints(), "");
        }
    }
}

/// Durations that are not known beforehand are guessed from the rate; the times do not depend on
/// it.
TEST_F(LiveMuxerTest, TheRateThatIsToldNeedNotBeTrue) {
    for (const uint16_t rate : {uint16_t{5}, uint16_t{500}}) {
        for (const LiveContainer container : kBoth) {
            LiveMuxer muxer(container);
            std::vector<LivePiece> pieces;
            for (const MediaUnit& unit : h264_)
                muxer.Take(unit.Header().IsVideo() ? WithRate(unit, rate) : unit, pieces);
            const FoundMedia media = ReadBack(Received(muxer, pieces));
            ExpectNoGaps(media.Times(true), 0.04, 0.001);
            EXPECT_NEAR(media.Times(true).back(), 2.96, 0.01);
        }
    }
}

TEST_F(LiveMuxerTest, DamagedUnitsAreLeftOut) {
    const auto damaged = [](const MediaUnit& unit, std::string_view payload) {
        return MediaUnit::Copy(
            std::string(unit.Bytes().substr(0, vms::kMediaHeaderSize)).append(payload));
    };
    for (const auto container :
         {LiveContainer::kTransportStream, LiveContainer::kFragments, LiveContainer::kFile}) {
        LiveMuxer muxer(container);
        std::vector<LivePiece> pieces;
        const std::string_view code("\0\0\0\1", 4);
        for (const MediaUnit& unit : h264_) {
            for (const std::string_view payload :
                 {std::string_view(), std::string_view("x"), code, unit.Payload().substr(0, 6),
                  unit.Payload().substr(5), std::string_view("\xff\xf1\x50\x80\x01\x1f\xfc", 7)})
                muxer.Take(damaged(unit, payload), pieces);
            muxer.Take(MediaUnit::Copy("short"), pieces);
            muxer.Take(unit, pieces);
        }
        muxer.Finish(pieces);
        SCOPED_TRACE(static_cast<int>(container));
        EXPECT_EQ(muxer.Beginnings(), 1);
        EXPECT_GE(ReadBack(Received(muxer, pieces)).Times(true).size(), 75);
    }
}

TEST_F(LiveMuxerTest, PlaybackSpeedIsThatOfTheTimes) {
    LiveMuxer muxer(LiveContainer::kFragments, 4);
    std::vector<LivePiece> pieces;
    for (const MediaUnit& unit : h264_) {
        if (unit.Header().IsVideo())
            muxer.Take(unit, pieces);
    }
    ExpectNoGaps(ReadBack(Received(muxer, pieces)).Times(true), 0.01, 0.001);
}

}  // namespace
