#include "media/mux/TransportCounters.h"

#include "platform/ByteFields.h"

// A packet of a transport stream:
//
//   byte 0     0x47
//   byte 1, 2  3 flags | 13 PID
//   byte 3     2 scrambling | 1 has an adaptation field | 1 has a payload | 4 counter
//   byte 4     bytes of the adaptation field that follow; the first of them is flags: 0x80 = what
//              comes need not follow what was before

namespace vms {
namespace {

constexpr uint8_t kSync = 0x47;
constexpr uint8_t kAdaptation = 0x20;
constexpr uint8_t kPayload = 0x10;
constexpr uint8_t kCounter = 0x0f;
constexpr uint8_t kDiscontinuity = 0x80;
constexpr uint16_t kNullPackets = 0x1fff;

uint8_t Byte(char byte) {
    return static_cast<uint8_t>(byte);
}

}  // namespace

void TransportCounters::Renumber(std::string& packets) {
    for (size_t at = 0; at + kPacket <= packets.size(); at += kPacket) {
        const auto pid =
            static_cast<uint16_t>(BigFieldAt<uint16_t>(packets.data(), at + 1) & 0x1fff);
        if (pid == kNullPackets)
            continue;
        const uint8_t flags = Byte(packets[at + 3]);
        uint8_t& last = last_.try_emplace(pid, kCounter).first->second;
        if ((flags & kPayload) != 0)
            last = (last + 1) & kCounter;
        packets[at + 3] = static_cast<char>((flags & ~kCounter) | last);
    }
}

std::string TransportCounters::Gap() const {
    std::string packets;
    packets.reserve(last_.size() * kPacket);
    for (const auto& [pid, last] : last_) {
        std::string packet(kPacket, '\xff');
        packet[0] = static_cast<char>(kSync);
        packet[1] = static_cast<char>(pid >> 8);
        packet[2] = static_cast<char>(pid & 0xff);
        packet[3] = static_cast<char>(kAdaptation | last);
        packet[4] = static_cast<char>(kPacket - 5);
        packet[5] = static_cast<char>(kDiscontinuity);
        packets += packet;
    }
    return packets;
}

}  // namespace vms
