// What the logged-in user may do. Devices send rights as masks in decimal text, in one of two
// layouts.
#include <algorithm>
#include <array>
#include <cstdlib>

#include "deviceapi/Tavero_Http_Encode.h"
#include "platform/Json.h"

namespace {

/// A flag that the layout does not have.
constexpr int kNone = -1;

/// The bit of a mask behind each flag of a record.
struct PermissionLayout {
    std::array<int, 8> remote;
    std::array<int, 4> channel;
};

constexpr PermissionLayout kFirstLayout{{0, 1, kNone, 4, 7, 5, kNone, kNone}, {1, 3, 5, 7}};
constexpr PermissionLayout kSecondLayout{{0, 1, 2, 3, 4, 5, 6, 7}, {16, 17, 18, 19}};

template <size_t N>
void SetFlags(const std::array<int, N>& bits, long long mask, int32_t (&flags)[N]) {
    for (size_t i = 0; i < N; ++i) {
        if (bits[i] != kNone)
            flags[i] = static_cast<int32_t>(mask >> bits[i] & 1);
    }
}

/// Takes a mask only from a text. What is no number, or negative, grants nothing.
bool TakeMask(const Json::Value& object, const char* key, long long& mask) {
    std::string text;
    if (!vms::ReadString(object, key, text))
        return false;
    mask = std::max(std::strtoll(text.c_str(), nullptr, 10), 0LL);
    return true;
}

void AppendChannel(const Json::Value& item, const PermissionLayout& layout,
                   __tagTvDevicePermission& permission) {
    __tagTvChannelPermission entry;
    long long mask = 0;
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
    long long mask = 0;
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
