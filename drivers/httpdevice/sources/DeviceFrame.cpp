#include "drivers/httpdevice/sources/DeviceFrame.h"

#include <arpa/inet.h>

#include <algorithm>

// Little-endian, but for the length:
//
//  0               1               2               3
// +---------------+---------------+---------------+---------------+
// |                  payload length, big-endian                   |   0
// +---------------+---------------+---------------+---------------+
// | 1 video 0 audio |                    0                        |   4
// +---------------+---------------+---------------+---------------+
// |                            serial                             |   8
// +---------------+---------------+---------------+---------------+
// |                   timestamp, ms, low half                     |  12
// +---------------+---------------+---------------+---------------+
// |                   rate of frames or samples                   |  16
// +---------------+---------------+---------------+---------------+
// |                             width                             |  20
// +---------------+---------------+---------------+---------------+
// |                             height                            |  24
// +---------------+---------------+---------------+---------------+
// |     codec     |  frame type   |          generation           |  28
// +---------------+---------------+---------------+---------------+
// |                   timestamp, ms, high half                    |  32
// +---------------+---------------+---------------+---------------+

#include "platform/ByteFields.h"

namespace vms::httpdevice {
namespace {

enum : uint8_t { kAudio = 0, kVideo = 1 };
enum : uint8_t { kH264 = 0, kH265 = 1, kJpeg = 3, kALaw = 0x10, kMuLaw = 0x11, kAac = 0x15 };

constexpr uint32_t kLowAacRate = 8000;
constexpr uint16_t kG711Rate = 8000;
constexpr uint16_t kAacRate = 16000;

// Whatever else a device tells is no time: the end of the year 9999.
constexpr int64_t kLastTimeMs = 253'402'300'799'999;

uint8_t VideoCodecOf(uint8_t code) {
    switch (code) {
        case kH264:
            return static_cast<uint8_t>(VideoCodec::kH264);
        case kH265:
            return static_cast<uint8_t>(VideoCodec::kH265);
        case kJpeg:
            return static_cast<uint8_t>(VideoCodec::kJpeg);
        default:
            return code;
    }
}

uint8_t AudioCodecOf(uint8_t code, uint32_t rate) {
    switch (code) {
        case kALaw:
            return static_cast<uint8_t>(AudioCodec::kALaw);
        case kMuLaw:
            return static_cast<uint8_t>(AudioCodec::kMuLaw);
        case kAac:
            return static_cast<uint8_t>(rate == kLowAacRate ? AudioCodec::kAac8kHz
                                                            : AudioCodec::kAac);
        default:
            return code;
    }
}

uint8_t CodeOf(AudioCodec codec) {
    if (codec == AudioCodec::kALaw)
        return kALaw;
    return codec == AudioCodec::kMuLaw ? kMuLaw : kAac;
}

uint16_t AudioRate(uint8_t codec, uint32_t rate) {
    if (rate != 0)
        return static_cast<uint16_t>(rate);
    return codec == static_cast<uint8_t>(AudioCodec::kAac) ? kAacRate : kG711Rate;
}

}  // namespace

bool IsDeviceFrame(const char* data, int length) {
    const auto size = static_cast<size_t>(length);
    return data != nullptr && length > static_cast<int>(kFrameHeaderSize) &&
           ntohl(LittleFieldAt<uint32_t>(data, 0)) == size - kFrameHeaderSize &&
           LittleFieldAt<uint8_t>(data, 4) <= kVideo;
}

DeviceFrame ReadDeviceFrame(const char* data) {
    DeviceFrame frame;
    const auto rate = LittleFieldAt<uint32_t>(data, 16);
    const auto code = LittleFieldAt<uint8_t>(data, 28);
    const bool isVideo = LittleFieldAt<uint8_t>(data, 4) == kVideo;
    frame.unit.type = isVideo ? MediaType::kVideo : MediaType::kAudio;
    frame.unit.frameType = LittleFieldAt<uint8_t>(data, 29);
    frame.unit.codec = isVideo ? VideoCodecOf(code) : AudioCodecOf(code, rate);
    frame.unit.serial = LittleFieldAt<uint32_t>(data, 8);
    frame.unit.width = static_cast<uint16_t>(LittleFieldAt<uint32_t>(data, 20));
    frame.unit.height = static_cast<uint16_t>(LittleFieldAt<uint32_t>(data, 24));
    frame.unit.rate = isVideo ? static_cast<uint16_t>(rate) : AudioRate(frame.unit.codec, rate);
    const uint64_t time =
        LittleFieldAt<uint32_t>(data, 12) | uint64_t{LittleFieldAt<uint32_t>(data, 32)} << 32;
    frame.timeMs = std::clamp<int64_t>(static_cast<int64_t>(time), 0, kLastTimeMs);
    frame.generation = LittleFieldAt<uint16_t>(data, 30);
    return frame;
}

std::string MakeTalkFrame(AudioCodec codec, int rate, uint32_t serial, uint64_t timestampMs,
                          const char* data, size_t length) {
    std::string frame(kFrameHeaderSize, '\0');
    SetLittleField(frame.data(), 0, htonl(static_cast<uint32_t>(length)));
    SetLittleField(frame.data(), 4, uint8_t{kAudio});
    SetLittleField(frame.data(), 8, serial);
    SetLittleField(frame.data(), 12, static_cast<uint32_t>(timestampMs));
    SetLittleField(frame.data(), 16, static_cast<uint32_t>(rate));
    SetLittleField(frame.data(), 28, CodeOf(codec));
    SetLittleField(frame.data(), 32, static_cast<uint32_t>(timestampMs >> 32));
    frame.append(data, length);
    return frame;
}

}  // namespace vms::httpdevice
