#include "host/play/UnitHeader.h"

#include <cstring>

namespace vms {
namespace {

template <class T>
T Field(std::string_view unit, size_t offset) {
    T value{};
    std::memcpy(&value, unit.data() + offset, sizeof value);
    return value;
}

UnitCodec VideoCodecOf(uint8_t code) {
    switch (code) {
        case 0x60:
            return UnitCodec::h264;
        case 0x96:
            return UnitCodec::h265;
        case 0x1a:
            return UnitCodec::jpeg;
        default:
            return UnitCodec::unknown;
    }
}

UnitCodec AudioCodecOf(uint8_t code) {
    switch (code) {
        case 1:
            return UnitCodec::alaw;
        case 2:
            return UnitCodec::mulaw;
        case 0x15:
        case 0x21:
            return UnitCodec::aac;
        default:
            return UnitCodec::unknown;
    }
}

}  // namespace

const char* CodecName(UnitCodec codec) {
    static constexpr const char* kNames[] = {"unknown", "h264",  "h265", "jpeg",
                                             "alaw",    "mulaw", "aac",  "face"};
    return kNames[static_cast<size_t>(codec)];
}

bool ReadUnitHeader(std::string_view unit, UnitHeader& header) {
    if (unit.size() < UnitHeader::kSize)
        return false;
    const auto flags = Field<uint32_t>(unit, 4);
    const uint32_t mediaType = flags & 0x3U;
    header.isVideo = mediaType == 0;
    header.isKey = header.isVideo && ((flags >> 2) & 0x1fU) == 1;
    if (header.isVideo)
        header.codec = VideoCodecOf(Field<uint8_t>(unit, 9));
    else if (mediaType == 1)
        header.codec = AudioCodecOf(Field<uint8_t>(unit, 10));
    else
        header.codec = mediaType == 3 ? UnitCodec::face : UnitCodec::unknown;
    header.serial = Field<uint32_t>(unit, 12);
    header.timestampMs = Field<uint32_t>(unit, 16);
    header.width = Field<uint16_t>(unit, 20);
    header.height = Field<uint16_t>(unit, 22);
    header.rate = Field<uint16_t>(unit, 26);
    return true;
}

}  // namespace vms
