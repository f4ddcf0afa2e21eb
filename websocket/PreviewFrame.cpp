#include "websocket/PreviewFrame.h"

#include <cstring>

#include "platform/ByteFields.h"
#include "websocket/le2host.h"

// From the device, little-endian:
//
//  0               1               2               3
// +---------------+---------------+---------------+---------------+
// |                               -                               |   0
// +---------------+---------------+---------------+---------------+
// |  media kind   |                       -                       |   4
// +---------------+---------------+---------------+---------------+
// |                            serial                             |   8
// +---------------+---------------+---------------+---------------+
// |                           timestamp                           |  12
// +---------------+---------------+---------------+---------------+
// |                      rate of frames or samples                |  16
// +---------------+---------------+---------------+---------------+
// |                             width                             |  20
// +---------------+---------------+---------------+---------------+
// |                             height                            |  24
// +---------------+---------------+---------------+---------------+
// |     codec     |  frame type   |          extra value          |  28
// +---------------+---------------+---------------+---------------+
// |                               -                               |  32
// +---------------+---------------+---------------+---------------+
//
// To the host, in its byte order; what is not named is 0:
//
//  0               1               2               3
// +---------------+---------------+---------------+---------------+
// |                               0                               |   0
// +---------------+---------------+---------------+---------------+
// | flags: bits 0-1 media type (0 video, 1 audio), 2-6 frame type |   4
// +---------------+---------------+---------------+---------------+
// |       0       |  video codec  |  audio codec  | audio format  |   8
// +---------------+---------------+---------------+---------------+
// |                            serial                             |  12
// +---------------+---------------+---------------+---------------+
// |                           timestamp                           |  16
// +---------------+---------------+---------------+---------------+
// |             width             |            height             |  20
// +---------------+---------------+---------------+---------------+
// |       rate, or its default    |       rate as received        |  24
// +---------------+---------------+---------------+---------------+
// |                          extra value                          |  28
// +---------------+---------------+---------------+---------------+

namespace vms {
namespace {

constexpr uint8_t kDeviceAudio = 0;
constexpr uint8_t kDeviceVideo = 1;
constexpr uint32_t kAudioBits = 1;
constexpr uint32_t kDefaultFrameRate = 30;
constexpr uint32_t kAac8kHz = 8000;

template <class T>
T Get(const char* header, size_t offset) {
    return le2host(FieldAt<T>(header, offset));
}

uint8_t VideoCodec(uint8_t code) {
    switch (code) {
        case 0:
            return 0x60;
        case 1:
            return 0x96;
        case 3:
            return 0x1a;
        default:
            return code;
    }
}

uint8_t AudioCodec(uint8_t code, uint32_t rate) {
    switch (code) {
        case 0x10:
            return 1;
        case 0x11:
            return 2;
        case 0x15:
            return rate == kAac8kHz ? 0x21 : 0x15;
        default:
            return code;
    }
}

struct AudioDefaults {
    uint32_t rate = 0;
    uint8_t format = 0;
};

/// For a device that does not tell its sample rate.
AudioDefaults DefaultsOf(uint8_t codec) {
    switch (codec) {
        case 1:
            return {8000, 4};
        case 2:
            return {8000, 3};
        case 0x15:
            return {16000, 2};
        case 0x16:
            return {2400, 0};
        default:
            return {};
    }
}

/// @return the rate to pass on
uint32_t PutAudio(uint8_t code, uint32_t rate, char* stream) {
    const uint8_t codec = AudioCodec(code, rate);
    SetField(stream, 10, codec);
    if (rate != 0)
        return rate;
    const AudioDefaults defaults = DefaultsOf(codec);
    SetField(stream, 11, defaults.format);
    return defaults.rate;
}

/// @return the rate to pass on
uint32_t PutVideo(uint8_t code, uint32_t rate, char* stream) {
    SetField(stream, 9, VideoCodec(code));
    return rate != 0 ? rate : kDefaultFrameRate;
}

}  // namespace

PreviewFrame ConvertPreviewHeader(const char* device, char* stream) {
    const auto kind = Get<uint8_t>(device, 4);
    const auto rate = Get<uint32_t>(device, 16);
    const auto code = Get<uint8_t>(device, 28);
    const PreviewFrame frame{kind == kDeviceVideo, Get<uint32_t>(device, 8),
                             Get<uint32_t>(device, 12), Get<uint32_t>(device, 20),
                             Get<uint32_t>(device, 24)};
    std::memset(stream, 0, kStreamFrameHeaderSize);
    uint32_t ratePassedOn = rate;
    if (kind == kDeviceVideo)
        ratePassedOn = PutVideo(code, rate, stream);
    else if (kind == kDeviceAudio)
        ratePassedOn = PutAudio(code, rate, stream);
    const uint32_t frameType = Get<uint8_t>(device, 29) & 0x1fU;
    SetField<uint32_t>(stream, 4, (kind == kDeviceAudio ? kAudioBits : 0) | frameType << 2);
    SetField(stream, 12, frame.serial);
    SetField(stream, 16, frame.timestamp);
    SetField(stream, 20, static_cast<uint16_t>(frame.width));
    SetField(stream, 22, static_cast<uint16_t>(frame.height));
    SetField(stream, 24, static_cast<uint16_t>(ratePassedOn));
    SetField(stream, 26, static_cast<uint16_t>(rate));
    SetField<uint32_t>(stream, 28, Get<uint16_t>(device, 30));
    return frame;
}

}  // namespace vms
