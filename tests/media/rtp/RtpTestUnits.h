#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "media/rtp/RtpPackets.h"
#include "media/unit/MediaUnit.h"
#include "platform/ByteFields.h"

namespace vms::test {

inline MediaUnit UnitOf(const MediaUnitHeader& header, std::string_view payload) {
    std::string bytes(kMediaHeaderSize, '\0');
    WriteMediaHeader(header, bytes.data());
    return MediaUnit::Copy(bytes.append(payload));
}

/// An H.264 picture of so many bytes, not one that could be seen; a key picture brings its
/// parameter sets.
inline MediaUnit Picture(bool isKey, uint32_t timestampMs, size_t size = 100,
                         VideoCodec codec = VideoCodec::kH264) {
    MediaUnitHeader header;
    header.codec = static_cast<uint8_t>(codec);
    header.frameType = static_cast<uint8_t>(isKey ? FrameType::kKey : FrameType::kPredicted);
    header.timestampMs = timestampMs;
    const std::string mark("\0\0\0\1", 4);
    std::string payload;
    if (isKey)
        payload = mark + "\x67\x42\xc0\x1f\x8c\x8d\x40" + mark + "\x68\xce\x3c\x80";
    payload += mark + (isKey ? "\x65" : "\x41") + std::string(size, 'p');
    return UnitOf(header, payload);
}

/// A-law.
inline MediaUnit Sound(uint32_t timestampMs, size_t samples = 320) {
    MediaUnitHeader header;
    header.type = MediaType::kAudio;
    header.codec = static_cast<uint8_t>(AudioCodec::kALaw);
    header.timestampMs = timestampMs;
    header.rate = 8000;
    return UnitOf(header, std::string(samples, 's'));
}

/// A packet of media taken apart.
struct RtpPacket {
    int track = 0;
    bool isLast = false;
    uint16_t sequence = 0;
    uint32_t time = 0;
    uint32_t source = 0;
    std::string extension;  ///< with its head, "" = none
    std::string payload;
};

template <class T>
T BigFieldAt(std::string_view bytes, size_t offset) {
    T value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value = static_cast<T>(value << 8 | static_cast<uint8_t>(bytes[offset + i]));
    return value;
}

inline RtpPacket ReadRtp(const RtpPacketView& view) {
    const std::string_view bytes = view.bytes;
    RtpPacket packet;
    packet.track = view.Track();
    packet.isLast = (bytes[1] & 0x80) != 0;
    packet.sequence = BigFieldAt<uint16_t>(bytes, 2);
    packet.time = BigFieldAt<uint32_t>(bytes, 4);
    packet.source = BigFieldAt<uint32_t>(bytes, 8);
    const size_t extension = (bytes[0] & 0x10) != 0 ? 16 : 0;
    packet.extension = bytes.substr(12, extension);
    packet.payload = bytes.substr(12 + extension);
    return packet;
}

/// The packets of a row: those of media, or those of RTCP as they are.
inline std::vector<RtpPacket> MediaOf(std::string_view row) {
    std::vector<RtpPacket> packets;
    for (; !row.empty(); row.remove_prefix(kRtpFrameSize + FrontRtpPacket(row).bytes.size())) {
        if (!FrontRtpPacket(row).IsControl())
            packets.push_back(ReadRtp(FrontRtpPacket(row)));
    }
    return packets;
}
inline std::vector<std::string> ControlOf(std::string_view row) {
    std::vector<std::string> packets;
    for (; !row.empty(); row.remove_prefix(kRtpFrameSize + FrontRtpPacket(row).bytes.size())) {
        if (FrontRtpPacket(row).IsControl())
            packets.emplace_back(FrontRtpPacket(row).bytes);
    }
    return packets;
}

}  // namespace vms::test
