#include "drivers/common/MediaUnit.h"

#include <cstring>

// All fields in host byte order; what is not named is 0.
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
constexpr uint32_t kLengthMask = 0x3fffff;

template <class T>
void Put(char* out, std::size_t offset, T value) {
    std::memcpy(out + offset, &value, sizeof value);
}

uint32_t Flags(const MediaUnitHeader& header) {
    uint32_t flags = static_cast<uint32_t>(header.type) | ((header.frameType & 0x1fU) << 2);
    if (header.type == MediaType::kFace)
        flags |= (header.faceLength & kLengthMask) << 7;
    return flags;
}

void PutCodec(const MediaUnitHeader& header, char* out) {
    if (header.type == MediaType::kVideo)
        Put(out, 9, header.codec);
    else if (header.type == MediaType::kAudio)
        Put(out, 10, header.codec);
}

uint16_t RateOrDefault(const MediaUnitHeader& header) {
    const bool unknown = header.rate == 0 && header.type == MediaType::kVideo;
    return unknown ? kDefaultFrameRate : header.rate;
}

}  // namespace

void WriteMediaHeader(const MediaUnitHeader& header, char* out) {
    std::memset(out, 0, kMediaHeaderSize);
    Put(out, 4, Flags(header));
    PutCodec(header, out);
    Put(out, 12, header.serial);
    Put(out, 16, header.timestampMs);
    Put(out, 20, header.width);
    Put(out, 22, header.height);
    Put(out, 24, RateOrDefault(header));
    Put(out, 26, header.rate);
}

}  // namespace vms
