#include "media/packet/ParameterSets.h"

#include <algorithm>

namespace vms {
namespace {

constexpr std::string_view kStartCode("\0\0\1", 3);

constexpr int kH264Sps = 7;
constexpr int kH264Pps = 8;
constexpr int kH264LastSlice = 5;
constexpr int kH265Vps = 32;
constexpr int kH265Sps = 33;
constexpr int kH265Pps = 34;
constexpr int kH265FirstNonVcl = 32;

int UnitType(VideoCodec codec, uint8_t first) {
    return codec == VideoCodec::kH264 ? first & 0x1f : (first >> 1) & 0x3f;
}

bool IsSps(VideoCodec codec, int type) {
    return type == (codec == VideoCodec::kH264 ? kH264Sps : kH265Sps);
}

bool IsParameterSet(VideoCodec codec, int type) {
    return codec == VideoCodec::kH264 ? type == kH264Sps || type == kH264Pps
                                      : type >= kH265Vps && type <= kH265Pps;
}

/// Slices follow all parameter sets, so the search can end at the first.
bool IsSlice(VideoCodec codec, int type) {
    return codec == VideoCodec::kH264 ? type >= 1 && type <= kH264LastSlice
                                      : type < kH265FirstNonVcl;
}

}  // namespace

bool HasParameterSets(VideoCodec codec, const uint8_t* data, size_t size) {
    for (size_t i = 0; i + 3 < size; ++i) {
        if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1)
            continue;
        const int type = UnitType(codec, data[i + 3]);
        if (IsSps(codec, type))
            return true;
        if (IsSlice(codec, type))
            return false;
    }
    return false;
}

std::string ParameterSetsOf(VideoCodec codec, std::string_view accessUnit) {
    std::string sets;
    size_t begin = accessUnit.find(kStartCode);
    while (begin != accessUnit.npos && begin + kStartCode.size() < accessUnit.size()) {
        begin += kStartCode.size();
        const int type = UnitType(codec, static_cast<uint8_t>(accessUnit[begin]));
        if (IsSlice(codec, type))
            break;
        const size_t next = accessUnit.find(kStartCode, begin);
        if (IsParameterSet(codec, type)) {
            std::string_view set =
                accessUnit.substr(begin, std::min(next, accessUnit.size()) - begin);
            while (!set.empty() && set.back() == '\0')
                set.remove_suffix(1);  // the next start code may have a byte more
            sets.append(1, '\0').append(kStartCode).append(set);
        }
        begin = next;
    }
    return sets;
}

bool StartsWithStartCode(const uint8_t* data, size_t size) {
    if (size < 4 || data[0] != 0 || data[1] != 0)
        return false;
    return data[2] == 1 || (data[2] == 0 && data[3] == 1);
}

}  // namespace vms
