// The header of a media unit, byte by byte: all who write or read it agree.
#include "media/unit/MediaHeader.h"

#include <gtest/gtest.h>

#include <string>

#include "media/unit/MediaUnit.h"
#include "media/unit/TalkHeader.h"
#include "platform/ByteFields.h"
#include "websocket/FacePacket.h"
#include "websocket/PreviewFrame.h"

namespace {

using vms::FrameType;
using vms::kMediaHeaderSize;
using vms::MediaCodec;
using vms::MediaType;
using vms::MediaUnitHeader;
using vms::SetLittleField;

std::string Bytes(const MediaUnitHeader& header) {
    std::string bytes(kMediaHeaderSize, '?');
    vms::WriteMediaHeader(header, bytes.data());
    return bytes;
}

MediaUnitHeader KeyPicture() {
    MediaUnitHeader header;
    header.frameType = static_cast<uint8_t>(FrameType::kKey);
    header.codec = 0x96;
    header.serial = 0x01020304;
    header.timestampMs = 0x05060708;
    header.width = 1920;
    header.height = 1080;
    header.rate = 25;
    return header;
}

const std::string kKeyPicture(
    "\x00\x00\x00\x00"
    "\x04\x00\x00\x00"
    "\x00\x96\x00\x00"
    "\x04\x03\x02\x01"
    "\x08\x07\x06\x05"
    "\x80\x07\x38\x04"
    "\x19\x00\x19\x00"
    "\x00\x00\x00\x00",
    kMediaHeaderSize);

TEST(MediaHeader, IsWrittenAsItIsRead) {
    EXPECT_EQ(Bytes(KeyPicture()), kKeyPicture);
    MediaUnitHeader header;
    ASSERT_TRUE(vms::ReadMediaHeader(kKeyPicture, header));
    EXPECT_EQ(Bytes(header), kKeyPicture);
    EXPECT_TRUE(header.IsKeyPicture());
    EXPECT_EQ(header.Codec(), MediaCodec::kH265);
    EXPECT_FALSE(vms::ReadMediaHeader(kKeyPicture.substr(0, 31), header));

    MediaUnitHeader sound;
    sound.type = MediaType::kAudio;
    sound.codec = 2;
    ASSERT_TRUE(vms::ReadMediaHeader(Bytes(sound), header));
    EXPECT_EQ(header.Codec(), MediaCodec::kMuLaw);
    EXPECT_EQ(header.Kind(), vms::UnitKind::kOther);
    EXPECT_EQ(header.rate, 0) << "a default rate is for others to read";

    for (unsigned flags = 0; flags < 256; ++flags) {  // whatever a device says
        std::string unit(40, static_cast<char>(flags));
        ASSERT_TRUE(vms::ReadMediaHeader(unit, header));
        EXPECT_EQ(vms::MediaUnit::Copy(unit).Kind(), header.Kind());
        EXPECT_STRNE(vms::CodecName(header.Codec()), "");
    }
}

/// The library's converters have lines of their own.
TEST(MediaHeader, IsTheSameFromADevicesFrames) {
    std::string device(vms::kDeviceFrameHeaderSize, '\0');
    device[4] = 1;  // video
    SetLittleField<uint32_t>(device.data(), 8, 0x01020304);
    SetLittleField<uint32_t>(device.data(), 12, 0x05060708);
    SetLittleField<uint32_t>(device.data(), 16, 25);
    SetLittleField<uint32_t>(device.data(), 20, 1920);
    SetLittleField<uint32_t>(device.data(), 24, 1080);
    device[28] = 1;  // H.265
    device[29] = 1;  // key picture
    std::string stream(kMediaHeaderSize, '?');
    vms::ConvertPreviewHeader(device.data(), stream.data());
    EXPECT_EQ(stream, kKeyPicture);

    MediaUnitHeader face;
    face.type = MediaType::kFace;
    face.frameType = 4;
    face.faceLength = 0x3abcde;
    std::string packet(vms::kFaceHeaderSize, '\0');
    SetLittleField<uint16_t>(packet.data(), 0, 0xA5A5);
    SetLittleField<uint16_t>(packet.data(), 2, 4);
    SetLittleField<uint32_t>(packet.data(), 4, 0x3abcde);
    vms::ConvertFaceHeader(packet.data(), stream.data());
    EXPECT_EQ(stream, Bytes(face));
}

TEST(MediaUnit, SharesItsBytes) {
    const std::string bytes = kKeyPicture + "payload";
    const vms::MediaUnit unit = vms::MediaUnit::Copy(bytes);
    const vms::MediaUnit copy = unit;
    EXPECT_EQ(copy.Bytes(), bytes);
    EXPECT_EQ(copy.Payload(), "payload");
    EXPECT_EQ(copy.Bytes().data(), unit.Bytes().data());
    EXPECT_EQ(copy.Header().serial, 0x01020304U);
    const vms::MediaUnit fragment = vms::MediaUnit::Copy("short");
    EXPECT_EQ(fragment.Bytes(), "short");
    EXPECT_TRUE(fragment.Payload().empty());
    EXPECT_EQ(fragment.Kind(), vms::UnitKind::kOther);
    EXPECT_TRUE(vms::MediaUnit().Bytes().empty());
}

TEST(TalkHeader, SaysItsLength) {
    std::string header(vms::kTalkHeaderSize, '?');
    vms::WriteTalkHeader(320, header.data());
    EXPECT_EQ(vms::LittleFieldAt<uint32_t>(header.data(), 4), 2U | (320U << 7));
    SetLittleField<uint32_t>(header.data(), 4, 0);
    EXPECT_EQ(header, std::string(vms::kTalkHeaderSize, '\0'));
}

}  // namespace
