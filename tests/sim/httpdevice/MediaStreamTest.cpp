#include "sim/httpdevice/media/MediaStream.h"

#include <gtest/gtest.h>

namespace vms::sim::httpdevice {
namespace {

using std::chrono::milliseconds;

constexpr int64_t kMidnightMs = 1'700'006'400'000;
constexpr int64_t kHourMs = 3'600'000;
constexpr size_t kPlenty = 1 << 30;

SharedTrack MakeTrack(FrameHeader::Kind kind, int64_t frameMs, int keyEvery) {
    Track track;
    track.kind = kind;
    track.frameMs = frameMs;
    for (int i = 0; i < 100; ++i)
        track.frames.push_back({std::make_shared<const std::string>(10, 'x'), i % keyEvery == 0});
    return std::make_shared<const Track>(std::move(track));
}

struct Playing {
    explicit Playing(StreamMode mode, int64_t startMs, int64_t endMs)
        : clock(std::make_shared<MediaClock>(startMs, true, now)),
          stream(mode,
                 {MakeTrack(FrameHeader::Kind::kVideo, 40, 25),
                  MakeTrack(FrameHeader::Kind::kAudio, 40, 1)},
                 {Recordings(), startMs, endMs, 0}, clock, now) {}

    static std::shared_ptr<const Timeline> Recordings() {
        Timeline::Plan plan;
        plan.until = kMidnightMs / 1000 + 12 * 3600;
        return std::make_shared<const Timeline>(plan);
    }

    std::vector<FrameHeader> After(milliseconds time, size_t budget = kPlenty) {
        now += time;
        std::vector<OutMessage> out;
        stream.Take(now, budget, out);
        std::vector<FrameHeader> headers;
        for (const OutMessage& message : out)
            headers.push_back(*ReadFrameHeader(message.head));
        return headers;
    }

    Clock::time_point now{std::chrono::hours(1)};
    std::shared_ptr<MediaClock> clock;
    MediaStream stream;
};

TEST(FrameHeader, SurvivesTheWire) {
    FrameHeader header;
    header.payloadLength = 0x01020304;
    header.serial = 0xfffefdfc;
    header.timestamp = 0x0000018bcfe56800;
    header.width = 1280;
    header.codec = 0x15;
    header.frameType = 2;
    header.generation = 0xbeef;
    const std::string bytes = Write(header);
    ASSERT_EQ(bytes.size(), 36u);
    EXPECT_EQ(bytes.substr(12, 4), std::string("\x00\x68\xe5\xcf", 4));
    EXPECT_EQ(bytes.substr(32, 4), std::string("\x8b\x01\x00\x00", 4));
    const auto back = ReadFrameHeader(bytes);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->timestamp, header.timestamp);
    EXPECT_EQ(back->serial, header.serial);
    EXPECT_EQ(back->generation, header.generation);
    EXPECT_FALSE(ReadFrameHeader(bytes.substr(0, 35)));
}

TEST(MediaStream, PacesFramesByTheClock) {
    Playing playing(StreamMode::kPlayback, kMidnightMs, kMidnightMs + kHourMs);
    const auto first = playing.After(milliseconds(0));
    ASSERT_EQ(first.size(), 2u);
    EXPECT_EQ(first[0].frameType, 1);
    EXPECT_EQ(playing.After(milliseconds(39)).size(), 0u);
    EXPECT_EQ(playing.After(milliseconds(1)).size(), 2u);
    EXPECT_EQ(playing.After(milliseconds(1000)).size(), 50u);
    EXPECT_EQ(playing.stream.NextDue(playing.now), playing.now + milliseconds(40));
    playing.clock->Pause(playing.now);
    EXPECT_EQ(playing.After(milliseconds(5000)).size(), 0u);
    playing.clock->Run(playing.now);
    EXPECT_EQ(playing.After(milliseconds(40)).size(), 2u);
}

TEST(MediaStream, HighSpeedSendsKeyFramesAloneAndComesBackOnOne) {
    Playing playing(StreamMode::kPlayback, kMidnightMs, kMidnightMs + kHourMs);
    playing.clock->SetSpeed(playing.now, 8, false);
    for (const FrameHeader& header : playing.After(milliseconds(1100)))
        EXPECT_EQ(header.frameType, 1);
    playing.clock->SetSpeed(playing.now, 1, false);
    for (const FrameHeader& header : playing.After(milliseconds(2000))) {
        if (header.kind == FrameHeader::Kind::kAudio)
            continue;
        EXPECT_EQ(header.frameType, 1);
        break;
    }
}

TEST(MediaStream, PlaybackTakesItsClockOverAGap) {
    const int64_t quiet = kMidnightMs + 2 * kHourMs;
    Playing playing(StreamMode::kPlayback, quiet - 1000, quiet + 4 * kHourMs);
    std::vector<FrameHeader> all = playing.After(milliseconds(1000));
    for (const FrameHeader& header : playing.After(milliseconds(200)))
        all.push_back(header);
    ASSERT_GT(all.size(), 50u);
    for (const FrameHeader& header : all) {
        const auto time = static_cast<int64_t>(header.timestamp);
        EXPECT_TRUE(time < quiet || time >= quiet + 2 * kHourMs) << time;
    }
    EXPECT_LT(static_cast<int64_t>(all.back().timestamp), quiet + 2 * kHourMs + 300);
}

TEST(MediaStream, SynchronousChannelWaitsThroughAGap) {
    const int64_t quiet = kMidnightMs + 2 * kHourMs;
    Playing playing(StreamMode::kSync, quiet - 1000, quiet + 4 * kHourMs);
    EXPECT_EQ(playing.After(milliseconds(999)).size(), 50u);
    EXPECT_EQ(playing.After(milliseconds(kHourMs)).size(), 0u);
    EXPECT_FALSE(playing.stream.finished());
    const auto next = playing.After(milliseconds(kHourMs + 1));
    ASSERT_FALSE(next.empty());
    EXPECT_EQ(static_cast<int64_t>(next.front().timestamp), quiet + 2 * kHourMs);
}

TEST(MediaStream, DownloadIsBoundedByTheBudgetAndEnds) {
    Playing playing(StreamMode::kDownload, kMidnightMs, kMidnightMs + 10'000);
    playing.clock->Pause(playing.now);
    EXPECT_EQ(playing.After(milliseconds(0), 460).size(), 10u);
    EXPECT_EQ(playing.After(milliseconds(0)).size(), 490u);
    EXPECT_TRUE(playing.stream.finished());
    playing.clock->Seek(playing.now, kMidnightMs + 9'500);
    const auto again = playing.After(milliseconds(0));
    ASSERT_EQ(again.size(), 50u);
    EXPECT_EQ(static_cast<int64_t>(again[0].timestamp), kMidnightMs + 9'000);
    EXPECT_EQ(again[0].generation, 1);
    EXPECT_EQ(again[0].frameType, 1);
}

}  // namespace
}  // namespace vms::sim::httpdevice
