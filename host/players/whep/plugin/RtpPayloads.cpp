#include "host/players/whep/plugin/RtpPayloads.h"

#include <algorithm>

namespace vms::whep {
namespace {

constexpr std::string_view kStartCode("\0\0\1", 3);
constexpr uint8_t kTypeBits = 0x1f;
constexpr uint8_t kReferenceBits = 0x60;

// Types of NAL units (H.264, table 7-1), and RFC 6184's own.
constexpr uint8_t kDelimiter = 9;
constexpr uint8_t kFilling = 12;
constexpr uint8_t kHighestType = 23;
constexpr uint8_t kFragment = 28;  // FU-A

// The second byte of a fragment: these bits and the type.
constexpr uint8_t kFirst = 0x80;
constexpr uint8_t kLast = 0x40;

/// Takes the next NAL unit off Annex B. @return false when there is none
bool NextUnit(std::string_view& rest, std::string_view& unit) {
    const size_t start = rest.find(kStartCode);
    if (start == std::string_view::npos)
        return false;
    rest.remove_prefix(start + kStartCode.size());
    const size_t end = std::min(rest.find(kStartCode), rest.size());
    unit = rest.substr(0, end);
    rest.remove_prefix(end);
    // Zeros belong to the next start code, or fill up.
    unit = unit.substr(0, unit.find_last_not_of('\0') + 1);
    return true;
}

bool IsSent(std::string_view unit) {
    if (unit.size() < 2)
        return false;
    const uint8_t type = static_cast<uint8_t>(unit[0]) & kTypeBits;
    return type > 0 && type <= kHighestType && type != kDelimiter && type != kFilling;
}

/// FU-A: the unit's first byte goes into the two that each fragment begins with.
void AddFragments(std::string_view unit, std::vector<RtpPayload>& payloads) {
    const auto first = static_cast<uint8_t>(unit[0]);
    const auto indicator = static_cast<uint8_t>((first & kReferenceBits) | kFragment);
    const auto type = static_cast<uint8_t>(first & kTypeBits);
    unit.remove_prefix(1);
    uint8_t place = kFirst;
    while (!unit.empty() && payloads.size() <= kMostPackets) {
        const std::string_view body = unit.substr(0, kMostPayload - 2);
        unit.remove_prefix(body.size());
        if (unit.empty())
            place |= kLast;
        payloads.push_back({{indicator, static_cast<uint8_t>(place | type)}, 2, body});
        place = 0;
    }
}

}  // namespace

bool SplitH264(std::string_view picture, std::vector<RtpPayload>& payloads) {
    payloads.clear();
    std::string_view unit;
    while (NextUnit(picture, unit) && payloads.size() <= kMostPackets) {
        if (!IsSent(unit))
            continue;
        if (unit.size() <= kMostPayload)
            payloads.push_back({{}, 0, unit});
        else
            AddFragments(unit, payloads);
    }
    return !payloads.empty() && payloads.size() <= kMostPackets;
}

bool SplitSound(std::string_view samples, std::vector<RtpPayload>& payloads) {
    payloads.clear();
    while (!samples.empty() && payloads.size() <= kMostPackets) {
        payloads.push_back({{}, 0, samples.substr(0, kMostSound)});
        samples.remove_prefix(payloads.back().body.size());
    }
    return !payloads.empty() && payloads.size() <= kMostPackets;
}

}  // namespace vms::whep
