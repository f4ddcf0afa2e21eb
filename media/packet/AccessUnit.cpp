#include "media/packet/AccessUnit.h"

namespace vms {
namespace {

constexpr std::string_view kStartCode("\0\0\1", 3);
constexpr size_t kShortest = 3;  ///< bytes of a slice, its header's first two included
constexpr int kH264FirstSlice = 1;
constexpr int kH264LastSlice = 5;
constexpr int kH265FirstNonSlice = 32;

bool IsSlice(VideoCodec codec, char first) {
    const auto byte = static_cast<unsigned char>(first);
    if (codec == VideoCodec::kH265)
        return ((byte >> 1) & 0x3f) < kH265FirstNonSlice;
    const int type = byte & 0x1f;
    return type >= kH264FirstSlice && type <= kH264LastSlice;
}

}  // namespace

bool HasSlice(VideoCodec codec, std::string_view accessUnit) {
    size_t at = accessUnit.find(kStartCode);
    while (at != accessUnit.npos && at + kStartCode.size() + kShortest <= accessUnit.size()) {
        at += kStartCode.size();
        if (IsSlice(codec, accessUnit[at]))
            return true;
        at = accessUnit.find(kStartCode, at);
    }
    return false;
}

}  // namespace vms
