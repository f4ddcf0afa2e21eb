#include "media/unit/TalkHeader.h"

#include <cstdint>
#include <cstring>

#include "platform/ByteFields.h"

namespace vms {

void WriteTalkHeader(size_t length, char* out) {
    constexpr uint32_t kTalk = 2;
    const uint32_t word = kTalk | static_cast<uint32_t>(length & kLongestTalk) << 7;
    std::memset(out, 0, kTalkHeaderSize);
    SetLittleField(out, 4, word);
}

}  // namespace vms
