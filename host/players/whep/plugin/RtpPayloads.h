#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vms::whep {

/// What one RTP packet carries. Refers to the unit it is of.
struct RtpPayload {
    std::array<uint8_t, 2> head{};  ///< goes in front of the body
    uint8_t headSize = 0;           ///< bytes
    std::string_view body;

    size_t Size() const { return headSize + body.size(); }
};

/// Longest payload, bytes: with room for headers, and for what a tunnel adds, in a packet of 1500.
inline constexpr size_t kMostPayload = 1180;

/// A picture that needs more packets is not sent.
inline constexpr size_t kMostPackets = 8192;

/// A packet of sound is no longer, bytes: 40 ms of G.711.
inline constexpr size_t kMostSound = 320;

// GStreamer has payloaders of its own, but theirs for H.264 ends the process over a picture with an
// empty NAL unit, and pictures come from devices.

/// Splits a picture, Annex B, into packets of RFC 6184 in packetization mode 1. What cannot be sent
/// of it is left out, and so are delimiters and filling. Re-entrant.
/// @param payloads replaced
/// @return false when nothing is left, or it needs more than kMostPackets
bool SplitH264(std::string_view picture, std::vector<RtpPayload>& payloads);

/// Splits G.711. Re-entrant. @param payloads replaced @return as SplitH264
bool SplitSound(std::string_view samples, std::vector<RtpPayload>& payloads);

}  // namespace vms::whep
