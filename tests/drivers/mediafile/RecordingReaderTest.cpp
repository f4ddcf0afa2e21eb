#include "media/recording/RecordingReader.h"

#include <gtest/gtest.h>

#include <random>

#include "media/packet/ParameterSets.h"
#include "media/recording/RecordingCursor.h"
#include "tests/drivers/mediafile/SampleMedia.h"

namespace vms::mediafile {
namespace {

struct Expected {
    int channel;
    VideoCodec video;
    AudioCodec audio;
    int rate;
};

void PrintTo(const Expected& expected, std::ostream* out) {
    *out << "ch" << expected.channel;
}

class Formats : public testing::TestWithParam<Expected> {
protected:
    Recording First() const {
        return SampleIndex()->Find(GetParam().channel, int64_t{kDay2At8} * 1000, 0, 0).at(0);
    }
    static std::string Payload(const MediaPacket& packet) {
        return {packet.unit.begin() + kMediaHeaderSize, packet.unit.end()};
    }
    std::atomic<bool> stop_{false};
};

void ExpectKeyPicture(VideoCodec codec, const std::string& payload) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(payload.data());
    if (codec == VideoCodec::kJpeg) {
        EXPECT_EQ(payload.substr(0, 2), "\xff\xd8");
        return;
    }
    EXPECT_TRUE(StartsWithStartCode(bytes, payload.size()));
    EXPECT_TRUE(HasParameterSets(codec, bytes, payload.size()));
}

void ExpectSound(AudioCodec codec, const std::string& payload) {
    const auto byte = [&payload](size_t i) { return static_cast<uint8_t>(payload.at(i)); };
    if (codec != AudioCodec::kAac)
        return;
    ASSERT_EQ(byte(0), 0xff);
    ASSERT_EQ(byte(1) & 0xf6, 0xf0);
    const size_t length = (byte(3) & 3U) << 11 | byte(4) << 3 | byte(5) >> 5;
    EXPECT_EQ(length, payload.size());
    EXPECT_EQ((byte(2) >> 2) & 0xf, 8) << "index of 16 kHz";
}

TEST_P(Formats, ComeOutAsPlayersTakeThem) {
    const Recording recording = First();
    const auto reader = RecordingReader::Open(recording, stop_);
    ASSERT_NE(reader, nullptr);
    int pictures = 0;
    int keys = 0;
    int sounds = 0;
    int64_t last[2] = {0, 0};
    MediaPacket packet;
    while (reader->Next(packet)) {
        int64_t& before = last[packet.IsVideo() ? 0 : 1];
        EXPECT_GE(packet.timeMs, before);
        before = packet.timeMs;
        if (!packet.IsVideo()) {
            ++sounds;
            EXPECT_EQ(packet.header.codec, static_cast<uint8_t>(GetParam().audio));
            ExpectSound(GetParam().audio, Payload(packet));
            continue;
        }
        EXPECT_TRUE(pictures > 0 || packet.IsKey());
        ++pictures;
        keys += packet.IsKey() ? 1 : 0;
        EXPECT_EQ(packet.header.codec, static_cast<uint8_t>(GetParam().video));
        EXPECT_EQ(packet.header.width, 640);
        EXPECT_EQ(packet.header.height, 360);
        EXPECT_EQ(packet.header.rate, GetParam().rate);
        if (packet.IsKey())
            ExpectKeyPicture(GetParam().video, Payload(packet));
    }
    EXPECT_NEAR(pictures, GetParam().rate * kSampleSeconds, 2);
    EXPECT_NEAR(keys, GetParam().video == VideoCodec::kJpeg ? pictures : kSampleSeconds, 1);
    EXPECT_GT(sounds, 50);
    EXPECT_NEAR(static_cast<double>(last[0]), static_cast<double>(recording.endMs), 200);
}

TEST_P(Formats, SeekToTheKeyPictureAtOrBefore) {
    const Recording recording = First();
    const auto reader = RecordingReader::Open(recording, stop_);
    ASSERT_NE(reader, nullptr);
    const int gopMs = GetParam().video == VideoCodec::kJpeg ? 1000 / GetParam().rate : 1000;
    for (const int offset : {4321, 5990, 1234, 0, 2999}) {
        const int64_t target = recording.startMs + offset;
        reader->SeekTo(target);
        MediaPacket packet;
        ASSERT_TRUE(reader->Next(packet));
        EXPECT_TRUE(packet.IsKey()) << offset;
        EXPECT_LE(packet.timeMs, target);
        EXPECT_GT(packet.timeMs, target - gopMs - 1) << offset;
    }
    // Beyond the end: the last group of pictures.
    reader->SeekTo(recording.endMs + 5000);
    MediaPacket packet;
    ASSERT_TRUE(reader->Next(packet));
    EXPECT_TRUE(packet.IsKey());
    EXPECT_GE(packet.timeMs, recording.endMs - 1300);
}

TEST_P(Formats, SurviveDamage) {
    const Recording recording = First();
    const TestFolder folder;
    const std::string good = ReadBytes(recording.path);
    std::mt19937 random(static_cast<unsigned>(GetParam().channel));
    const std::string name = recording.path.filename();
    for (int round = 0; round < 12; ++round) {
        std::string bad = good;
        if (round % 3 == 0)
            bad.resize(random() % bad.size());
        for (int i = 0; i < 200 && round % 3 != 0 && !bad.empty(); ++i)
            bad[random() % (round % 3 == 1 ? bad.size() : std::min<size_t>(bad.size(), 4096))] =
                static_cast<char>(random());
        Recording damaged = recording;
        damaged.path = folder.Write(name, bad);
        const auto reader = RecordingReader::Open(damaged, stop_);
        MediaPacket packet;
        int count = 0;
        while (reader != nullptr && reader->Next(packet))
            ++count;
        EXPECT_LT(count, 2000);
        if (reader != nullptr)
            reader->SeekTo(recording.startMs + 3000);
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, Formats,
                         testing::Values(Expected{0, VideoCodec::kH264, AudioCodec::kAac, 25},
                                         Expected{1, VideoCodec::kH265, AudioCodec::kALaw, 12},
                                         Expected{2, VideoCodec::kJpeg, AudioCodec::kMuLaw, 25},
                                         Expected{3, VideoCodec::kH264, AudioCodec::kAac, 25}));

TEST(RecordingCursor, CrossesGapsOverlapsAndBadFiles) {
    const TestFolder folder;
    const std::string sample = "ch0/20240502T080000Z_schedule.mp4";
    folder.Copy(sample, "ch/20240502T080000Z_schedule.mp4");
    folder.Copy(sample, "ch/20240502T080002Z_motion.mp4");  // two seconds of it are new
    folder.Copy(sample, "ch/20240502T080003Z_alarm.mp4");   // vanishes after the search
    folder.Copy(sample, "ch/20240502T081000Z_schedule.mp4");
    RecordingList recordings = folder.Index()->Find(0, 0, 0, 0);
    std::filesystem::remove(recordings.at(2).path);

    const std::atomic<bool> stop{false};
    const int64_t start = int64_t{kDay2At8} * 1000;
    RecordingCursor cursor(recordings, start + 2500, stop);
    MediaPacket packet;
    std::vector<int64_t> gaps;
    int64_t last = 0;
    bool afterGap = false;
    while (cursor.Next(packet, afterGap)) {
        if (!packet.IsVideo())
            continue;
        if (last == 0) {
            EXPECT_EQ(packet.timeMs, start + 2000) << "key picture before the start";
        }
        EXPECT_GT(packet.timeMs, last);
        last = packet.timeMs;
        if (afterGap)
            gaps.push_back(packet.timeMs);
    }
    EXPECT_EQ(gaps, std::vector<int64_t>{start + 600'000});
    EXPECT_EQ(last, start + 600'000 + 5960);
}

}  // namespace
}  // namespace vms::mediafile
