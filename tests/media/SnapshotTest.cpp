// Key pictures as JPEG files.
#include "media/picture/Snapshot.h"

#include <gtest/gtest.h>

#include "media/MediaError.h"
#include "media/picture/PictureDecoder.h"
#include "tests/media/ClipUnits.h"

namespace {

using namespace vms;
using namespace vms::test;

MediaUnit UnitOf(MediaUnitHeader header, std::string_view payload) {
    std::string bytes(kMediaHeaderSize, '\0');
    WriteMediaHeader(header, bytes.data());
    return MediaUnit::Copy(bytes.append(payload));
}

MediaUnit JpegUnit(const std::string& jpeg) {
    MediaUnitHeader header;
    header.frameType = static_cast<uint8_t>(FrameType::kKey);
    header.codec = static_cast<uint8_t>(VideoCodec::kJpeg);
    return UnitOf(header, jpeg);
}

/// The first key picture of a clip.
MediaUnit KeyPicture(const std::string& size, const std::vector<std::string>& codec) {
    const ClipFolder folder;
    return UnitsOf(folder.Make("clip.mkv", 0.2, size, codec, {})).front();
}

std::string SizeOf(const std::string& jpeg) {
    const FramePtr picture = DecodePicture(JpegUnit(jpeg));
    return std::to_string(picture->width) + "x" + std::to_string(picture->height);
}

TEST(Snapshot, KeepsItsShapeAndIsNeverEnlarged) {
    for (const auto& codec : {H264(), H265()}) {
        const MediaUnit picture = KeyPicture("320x180", codec);
        EXPECT_EQ(SizeOf(SnapshotOf(picture, 0)), "320x180");
        EXPECT_EQ(SizeOf(SnapshotOf(picture, 160)), "160x90");
        EXPECT_EQ(SizeOf(SnapshotOf(picture, 4096)), "320x180");
        EXPECT_EQ(SizeOf(SnapshotOf(picture, 1)), "2x2");
    }
    const MediaUnit picture = KeyPicture("320x180", {"-c:v", "mjpeg", "-pix_fmt", "yuvj420p"});
    EXPECT_EQ(SnapshotOf(picture, 0), picture.Payload());
    EXPECT_EQ(SizeOf(SnapshotOf(picture, 64)), "64x36");
}

/// Black is 0, not 16 as in video.
TEST(Snapshot, HasTheFullRangeOfBrightness) {
    const std::string jpeg = SnapshotOf(KeyPicture("320x180", H264()), 0);
    const FramePtr picture = DecodePicture(JpegUnit(jpeg));
    int darkest = 255;
    for (int y = 0; y < picture->height; ++y) {
        for (int x = 0; x < picture->width; ++x) {
            const int value = picture->data[0][y * picture->linesize[0] + x];
            darkest = std::min(darkest, value);
        }
    }
    EXPECT_LT(darkest, 8);
}

TEST(Snapshot, OfADamagedPictureIsAnError) {
    for (const auto& codec : {H264(), H265()}) {
        const MediaUnit picture = KeyPicture("640x360", codec);
        const std::string_view payload = picture.Payload();
        for (const size_t size : {size_t{0}, size_t{3}, size_t{5}, payload.size() / 3})
            EXPECT_THROW(SnapshotOf(UnitOf(picture.Header(), payload.substr(0, size)), 0),
                         MediaError)
                << size << " of " << payload.size();
        std::string noise(payload);
        for (size_t i = 60; i < noise.size(); i += 7)
            noise[i] = static_cast<char>(noise[i] * 31 + 7);
        try {
            SnapshotOf(UnitOf(picture.Header(), noise), 100);
        } catch (const MediaError&) {  // or whatever the decoder makes of it
        }
    }
    EXPECT_THROW(SnapshotOf(JpegUnit("\xff\xd8\xff"), 0), MediaError);
    MediaUnitHeader sound;
    sound.type = MediaType::kAudio;
    sound.codec = static_cast<uint8_t>(AudioCodec::kALaw);
    EXPECT_THROW(SnapshotOf(UnitOf(sound, "sound"), 0), MediaError);
}

/// A few bytes can claim a picture of 65,500 by 65,500 pixels.
TEST(Snapshot, OfAHugePictureIsAnError) {
    std::string jpeg = SnapshotOf(KeyPicture("64x64", H264()), 0);
    const size_t frame = jpeg.find("\xff\xc0");
    ASSERT_NE(frame, std::string::npos);
    jpeg.replace(frame + 5, 4, "\xff\xdc\xff\xdc");
    EXPECT_THROW(SnapshotOf(JpegUnit(jpeg), 100), MediaError);
}

}  // namespace
