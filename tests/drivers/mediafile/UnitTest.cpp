#include <gtest/gtest.h>

#include <array>
#include <string>

#include "media/packet/AdtsHeader.h"
#include "media/packet/ParameterSets.h"
#include "media/unit/MediaHeader.h"
#include "tests/drivers/mediafile/UnitRecorder.h"

namespace vms::mediafile {
namespace {

std::string Write(const MediaUnitHeader& header) {
    std::string bytes(kMediaHeaderSize, '\xee');  // every byte has to be written
    WriteMediaHeader(header, bytes.data());
    return bytes;
}

TEST(MediaUnit, LaysOutAVideoHeader) {
    MediaUnitHeader header;
    header.frameType = static_cast<uint8_t>(FrameType::kKey);
    header.codec = static_cast<uint8_t>(VideoCodec::kH265);
    header.serial = 0x01020304;
    header.timestampMs = 0xa1a2a3a4;
    header.width = 1920;
    header.height = 1080;
    header.rate = 25;
    header.faceLength = 77;  // not for video
    const std::string expected(
        "\0\0\0\0\x04\0\0\0\0\x96\0\0\x04\x03\x02\x01\xa4\xa3\xa2\xa1\x80\x07\x38\x04\x19\0\x19\0"
        "\0\0\0\0",
        32);
    EXPECT_EQ(Write(header), expected);
    header.rate = 0;
    EXPECT_EQ(Write(header).substr(24, 4), std::string("\x1e\0\0\0", 4));
}

TEST(MediaUnit, LaysOutAudioAndFaceHeaders) {
    MediaUnitHeader audio;
    audio.type = MediaType::kAudio;
    audio.codec = static_cast<uint8_t>(AudioCodec::kMuLaw);
    audio.rate = 8000;
    const std::string bytes = Write(audio);
    EXPECT_EQ(bytes.substr(4, 8), std::string("\x01\0\0\0\0\0\x02\0", 8));

    MediaUnitHeader face;
    face.type = MediaType::kFace;
    face.frameType = 4;
    face.codec = 9;
    face.faceLength = 0x3fffff;
    const Unit unit = ParseUnit("", Write(face).data(), 32);
    EXPECT_EQ(unit.type, 3U);
    EXPECT_EQ(unit.frameType, 4U);
    EXPECT_EQ(unit.length, 0x3fffffU);
    EXPECT_EQ(unit.videoCodec + unit.audioCodec, 0U);
}

TEST(AdtsHeader, DescribesTheStreamOfAnAudioSpecificConfig) {
    const std::array<uint8_t, 2> stereo44k{0x12, 0x10};
    const auto config = ParseAacConfig(stereo44k.data(), stereo44k.size());
    ASSERT_TRUE(config);
    const std::array<uint8_t, 7> expected{0xff, 0xf1, 0x50, 0x80, 0x0d, 0x7f, 0xfc};
    EXPECT_EQ(MakeAdtsHeader(*config, 100), expected);
    EXPECT_TRUE(StartsWithAdts(expected.data(), expected.size()));
    EXPECT_FALSE(StartsWithAdts(expected.data(), 6));
}

TEST(AdtsHeader, RefusesWhatItCannotSay) {
    const std::array<uint8_t, 2> explicitRate{0x17, 0x90};
    const std::array<uint8_t, 2> channelsElsewhere{0x12, 0x00};
    const std::array<uint8_t, 2> escapedType{0xf8, 0x10};
    EXPECT_FALSE(ParseAacConfig(explicitRate.data(), 2));
    EXPECT_FALSE(ParseAacConfig(channelsElsewhere.data(), 2));
    EXPECT_FALSE(ParseAacConfig(escapedType.data(), 2));
    EXPECT_FALSE(ParseAacConfig(explicitRate.data(), 1));
    EXPECT_FALSE(ParseAacConfig(nullptr, 0));
}

TEST(ParameterSets, AreFoundInFrontOfTheFirstSliceOnly) {
    const auto has = [](VideoCodec codec, const std::string& text) {
        return HasParameterSets(codec, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    };
    const std::string start("\0\0\1", 3);
    EXPECT_TRUE(has(VideoCodec::kH264, start + "\x09\xf0" + start + "\x67zz" + start + "\x65zz"));
    EXPECT_FALSE(has(VideoCodec::kH264, start + "\x65zz" + start + "\x67zz"));
    EXPECT_TRUE(has(VideoCodec::kH265, start + "\x40\1z" + start + "\x42\1z"));
    EXPECT_FALSE(has(VideoCodec::kH265, start + "\x26\1z" + start + "\x42\1z"));
    EXPECT_FALSE(has(VideoCodec::kH264, start));
}

}  // namespace
}  // namespace vms::mediafile
