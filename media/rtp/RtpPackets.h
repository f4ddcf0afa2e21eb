#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/ByteFields.h"

namespace vms {

// Packets in a row, each as it travels inside an RTSP connection (RFC 2326, 10.12):
//
//     byte 0   '$'
//     byte 1   channel: twice the track's number, one more for RTCP
//     byte 2   length of the packet, big-endian
//     byte 4   the packet

inline constexpr size_t kRtpFrameSize = 4;

/// One packet of a row.
struct RtpPacketView {
    int channel = 0;
    std::string_view bytes;

    int Track() const { return channel / 2; }
    bool IsControl() const { return channel % 2 != 0; }
};

/// Appends the four bytes in front of a packet. @param size of the packet, below 64 KiB
inline void BeginRtpPacket(std::string& row, int channel, size_t size) {
    row += '$';
    row += static_cast<char>(channel);
    row += static_cast<char>(size >> 8);
    row += static_cast<char>(size);
}

/// The packet at the front of a row that is whole. @param row not empty
inline RtpPacketView FrontRtpPacket(std::string_view row) {
    return {static_cast<uint8_t>(row[1]),
            row.substr(kRtpFrameSize, BigFieldAt<uint16_t>(row.data(), 2))};
}

}  // namespace vms
