#include "media/unit/MediaHeader.h"

#include <cstring>

#include "platform/ByteFields.h"

// All fields in host byte order; what is not named is 0 and not read.
//
//  0               1               2               3
// +---------------+---------------+---------------+---------------+
// |                               0                               |   0
// +---------------+---------------+---------------+---------------+
// | flags: bits 0-1 media type, 2-6 frame type, 7-28 face length  |   4
// +---------------+---------------+---------------+---------------+
// |       0       |  video codec  |  audio codec  | audio format  |   8
// +---------------+---------------+---------------+---------------+
// |                            serial                             |  12
// +---------------+---------------+---------------+---------------+
// |                         timestamp, ms                         |  16
// +---------------+---------------+---------------+---------------+
// |             width             |            height             |  20
// +---------------+---------------+---------------+---------------+
// |       rate, or its default    |         rate, or 0            |  24
// +---------------+---------------+---------------+---------------+
// |                          extra value                          |  28
// +---------------+---------------+---------------+---------------+

namespace vms {
namespace {

constexpr uint16_t kDefaultFrameRate = 30;
constexpr uint32_t kTypeMask = 0x3;
constexpr uint32_t kFrameMask = 0x1f;
constexpr uint32_t kLengthMask = 0x3fffff;

uint32_t Flags(const MediaUnitHeader& header) {
    uint32_t flags = static_cast<uint32_t>(header.type) | ((header.frameType & kFrameMask) << 2);
    if (header.type == MediaType::kFace)
        flags |= (header.faceLength & kLengthMask) << 7;
    return flags;
}

void PutCodec(const MediaUnitHeader& header, char* out) {
    if (header.type == MediaType::kVideo)
        SetField(out, 9, header.codec);
    else if (header.type == MediaType::kAudio)
        SetField(out, 10, header.codec);
}

uint16_t RateOrDefault(const MediaUnitHeader& header) {
    const bool unknown = header.rate == 0 && header.IsVideo();
    return unknown ? kDefaultFrameRate : header.rate;
}

MediaCodec VideoCodecOf(uint8_t code) {
    switch (static_cast<VideoCodec>(code)) {
        case VideoCodec::kH264:
            return MediaCodec::kH264;
        case VideoCodec::kH265:
            return MediaCodec::kH265;
        case VideoCodec::kJpeg:
            return MediaCodec::kJpeg;
    }
    return MediaCodec::kUnknown;
}

MediaCodec AudioCodecOf(uint8_t code) {
    switch (static_cast<AudioCodec>(code)) {
        case AudioCodec::kALaw:
            return MediaCodec::kALaw;
        case AudioCodec::kMuLaw:
            return MediaCodec::kMuLaw;
        case AudioCodec::kAac:
        case AudioCodec::kAac8kHz:
            return MediaCodec::kAac;
    }
    return MediaCodec::kUnknown;
}

}  // namespace

UnitKind MediaUnitHeader::Kind() const {
    if (!IsVideo())
        return UnitKind::kOther;
    return IsKeyPicture() ? UnitKind::kKeyPicture : UnitKind::kPicture;
}

MediaCodec MediaUnitHeader::Codec() const {
    switch (type) {
        case MediaType::kVideo:
            return VideoCodecOf(codec);
        case MediaType::kAudio:
            return AudioCodecOf(codec);
        case MediaType::kFace:
            return MediaCodec::kFace;
    }
    return MediaCodec::kUnknown;
}

const char* CodecName(MediaCodec codec) {
    static constexpr const char* kNames[] = {"unknown", "h264",  "h265", "jpeg",
                                             "alaw",    "mulaw", "aac",  "face"};
    return kNames[static_cast<size_t>(codec)];
}

void WriteMediaHeader(const MediaUnitHeader& header, char* out) {
    std::memset(out, 0, kMediaHeaderSize);
    SetField(out, 4, Flags(header));
    PutCodec(header, out);
    SetField(out, 12, header.serial);
    SetField(out, 16, header.timestampMs);
    SetField(out, 20, header.width);
    SetField(out, 22, header.height);
    SetField(out, 24, RateOrDefault(header));
    SetField(out, 26, header.rate);
}

bool ReadMediaHeader(std::string_view unit, MediaUnitHeader& header) {
    if (unit.size() < kMediaHeaderSize)
        return false;
    header = {};
    const auto flags = FieldAt<uint32_t>(unit.data(), 4);
    header.type = static_cast<MediaType>(flags & kTypeMask);
    header.frameType = static_cast<uint8_t>((flags >> 2) & kFrameMask);
    if (header.type == MediaType::kVideo)
        header.codec = FieldAt<uint8_t>(unit.data(), 9);
    else if (header.type == MediaType::kAudio)
        header.codec = FieldAt<uint8_t>(unit.data(), 10);
    else if (header.type == MediaType::kFace)
        header.faceLength = (flags >> 7) & kLengthMask;
    header.serial = FieldAt<uint32_t>(unit.data(), 12);
    header.timestampMs = FieldAt<uint32_t>(unit.data(), 16);
    header.width = FieldAt<uint16_t>(unit.data(), 20);
    header.height = FieldAt<uint16_t>(unit.data(), 22);
    header.rate = FieldAt<uint16_t>(unit.data(), 26);
    return true;
}

}  // namespace vms
