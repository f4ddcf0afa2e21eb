#include "sim/media/ClipFile.h"

#include <cstdint>
#include <string_view>

namespace vms::sim {

namespace {

constexpr std::string_view kMagic = "DSCLIP1\n";
constexpr size_t kFrameHead = 5;

uint32_t ReadLength(const char* at) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(at[i]);
    return value;
}

void AppendLength(std::string& out, size_t length) {
    for (int shift = 0; shift < 32; shift += 8)
        out += static_cast<char>(length >> shift & 0xff);
}

}  // namespace

std::string PackClip(const Clip& clip) {
    std::string out(kMagic);
    for (const Clip::Frame& frame : clip.frames) {
        out += frame.key ? '\1' : '\0';
        AppendLength(out, frame.bytes.size());
        out += frame.bytes;
    }
    return out;
}

std::optional<Clip> UnpackClip(ClipKind kind, const std::string& bytes) {
    if (bytes.rfind(kMagic, 0) != 0)
        return std::nullopt;
    Clip clip;
    clip.kind = kind;
    for (size_t at = kMagic.size(); at < bytes.size();) {
        if (bytes.size() - at < kFrameHead)
            return std::nullopt;
        const size_t length = ReadLength(&bytes[at + 1]);
        if (bytes.size() - at - kFrameHead < length)
            return std::nullopt;
        clip.frames.push_back({bytes.substr(at + kFrameHead, length), bytes[at] != '\0'});
        at += kFrameHead + length;
    }
    if (clip.frames.empty() || !clip.frames.front().key)
        return std::nullopt;
    return clip;
}

}  // namespace vms::sim
