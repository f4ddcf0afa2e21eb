// What the logged-in user may do. Devices send rights as masks in decimal text, in one of two
// layouts.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "deviceapi/Tavero_Http_Encode.h"
#include "platform/Json.h"

namespace {

/// A flag that the layout does not have.
constexpr int kNone = -1;
constexpr const char* kBlanks = " \t\n\v\f\r";

/// The bit of a mask behind each flag of a record.
struct PermissionLayout {
    std::array<int, 8> remote;
    std::array<int, 4> channel;
};

constexpr PermissionLayout kFirstLayout{{0, 1, kNone, 4, 7, 5, kNone, kNone}, {1, 3, 5, 7}};
constexpr PermissionLayout kSecondLayout{{0, 1, 2, 3, 4, 5, 6, 7}, {16, 17, 18, 19}};

template <size_t N>
void SetFlags(const std::array<int, N>& bits, uint64_t mask, int32_t (&flags)[N]) {
    for (size_t i = 0; i < N; ++i) {
        if (bits[i] != kNone)
            flags[i] = static_cast<int32_t>(mask >> bits[i] & 1);
    }
}

/// The number that a text begins with, behind blanks. What has a sign, no digits or more than 64
/// bits grants nothing: half a mask, or a wrapped one, would grant what the device did not.
uint64_t MaskOf(const std::string& text) {
    const char* const end = text.data() + text.size();
    const char* const digits = text.data() + std::min(text.find_first_not_of(kBlanks), text.size());
    uint64_t mask = 0;
    return std::from_chars(digits, end, mask).ec == std::errc() ? mask : 0;
}

/// Takes a mask only from a text.
bool TakeMask(const Json::Value& object, const char* key, uint64_t& mask) {
    std::string text;
    if (!vms::ReadString(object, key, text))
        return false;
    mask = MaskOf(text);
    return true;
}

void AppendChannel(const Json::Value& item, const PermissionLayout& layout,
                   __tagTvDevicePermission& permission) {
    __tagTvChannelPermission entry;
    uint64_t mask = 0;
    vms::ReadInt(item, "channel", entry.channel);
    if (entry.channel < 0 || !TakeMask(item, "permission", mask))
        return;
    SetFlags(layout.channel, mask, entry.flag);
    permission.channels.push_back(entry);
}

int ReadPermission(const char* text, const PermissionLayout& layout,
                   __tagTvDevicePermission& permission) {
    Json::Value answer;
    int code = -1;
    if (!vms::ParseJson(text, answer) || !vms::ReadInt(answer, "code", code) || code != 0)
        return -1;
    const Json::Value& data = vms::Member(answer, "data");
    uint64_t mask = 0;
    if (TakeMask(data, "remotePermission", mask))
        SetFlags(layout.remote, mask, permission.remote);
    const Json::Value& channels = vms::Member(data, "channelPermission");
    if (channels.isArray()) {
        for (const Json::Value& item : channels)
            AppendChannel(item, layout, permission);
    }
    return 0;
}

}  // namespace

int Tavero_Http_Encode::DeSerializePermission(const char* text,
                                              __tagTvDevicePermission& permission) {
    return ReadPermission(text, kFirstLayout, permission);
}

int Tavero_Http_Encode::DeSerializePermissionV2(const char* text,
                                                __tagTvDevicePermission& permission) {
    return ReadPermission(text, kSecondLayout, permission);
}
