// Telephone sound as AAC: how much of it, and when.
#include "media/audio/SoundTranscoder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

using namespace vms;

MediaUnit Sound(AudioCodec codec, uint16_t rate, uint32_t timestampMs, size_t samples) {
    MediaUnitHeader header;
    header.type = MediaType::kAudio;
    header.codec = static_cast<uint8_t>(codec);
    header.rate = rate;
    header.timestampMs = timestampMs;
    std::string bytes(kMediaHeaderSize, '\0');
    WriteMediaHeader(header, bytes.data());
    return MediaUnit::Copy(bytes.append(samples, '\x55'));
}

std::vector<uint32_t> Times(const std::vector<MediaUnit>& units) {
    std::vector<uint32_t> times;
    for (const MediaUnit& unit : units) {
        EXPECT_EQ(unit.Header().Codec(), MediaCodec::kAac);
        EXPECT_TRUE(ParseAdtsFrame(unit.Payload()));
        times.push_back(unit.Header().timestampMs);
    }
    return times;
}

TEST(SoundTranscoder, FramesSayWhenTheyAreToBeHeard) {
    SoundTranscoder transcoder;
    std::vector<MediaUnit> units;
    for (uint32_t time = 5000; time < 6000; time += 40)
        transcoder.Take(Sound(AudioCodec::kMuLaw, 8000, time, 320), units);
    transcoder.Finish(units);
    // A second has 7.8 frames of 128 ms.
    EXPECT_EQ(Times(units),
              (std::vector<uint32_t>{5000, 5128, 5256, 5384, 5512, 5640, 5768, 5896}));
    EXPECT_EQ(SampleRate(ParseAdtsFrame(units.front().Payload())->config), 8000);
}

TEST(SoundTranscoder, FollowsAJumpButNotATremble) {
    SoundTranscoder transcoder;
    std::vector<MediaUnit> units;
    for (uint32_t i = 0; i < 25; ++i)
        transcoder.Take(Sound(AudioCodec::kALaw, 8000, i * 40 + (i % 2) * 30, 320), units);
    for (uint32_t i = 0; i < 25; ++i)
        transcoder.Take(Sound(AudioCodec::kALaw, 8000, 60'000 + i * 40, 320), units);
    transcoder.Finish(units);
    const auto times = Times(units);
    ASSERT_EQ(times.size(), 16);
    for (size_t i = 1; i < times.size(); ++i) {
        if (times[i - 1] > 1000 || times[i] < 1000) {
            EXPECT_EQ(times[i] - times[i - 1], 128) << times[i];
        }
    }
    EXPECT_NEAR(times.back(), 60'872, 128);
}

TEST(SoundTranscoder, OddRatesAreLeftOutAndOthersHavePlace) {
    SoundTranscoder transcoder;
    std::vector<MediaUnit> units;
    for (const uint16_t rate : {11'000, 1, 65'535}) {
        EXPECT_FALSE(transcoder.ConfigFor(Sound(AudioCodec::kALaw, rate, 0, 1)));
        transcoder.Take(Sound(AudioCodec::kALaw, rate, 0, 5000), units);
    }
    transcoder.Take(Sound(AudioCodec::kALaw, 8000, 0, 0), units);
    EXPECT_TRUE(units.empty());
    transcoder.Take(Sound(AudioCodec::kALaw, 16'000, 0, 100'000), units);
    EXPECT_EQ(units.size(), 95);  // of 97.7 frames, two on their way
    EXPECT_EQ(units.back().Header().rate, 16'000);
}

}  // namespace
