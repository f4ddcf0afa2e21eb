#include "drivers/httpdevice/sources/KeyFrameSink.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include "media/unit/MediaHeader.h"

namespace vms::httpdevice {
namespace {

bool IsKeyFrame(const char* data, int length) {
    if (length < static_cast<int>(kMediaHeaderSize))
        return false;
    uint32_t flags = 0;
    std::memcpy(&flags, data + 4, sizeof flags);
    return (flags & 0x3U) == static_cast<uint32_t>(MediaType::kVideo) &&
           ((flags >> 2) & 0x1fU) == static_cast<uint32_t>(FrameType::kKey);
}

}  // namespace

int KeyFrameSink::SteramCallback(std::string key, char* data, int length) {
    IStreamCallback* const sink = sink_;
    if (sink == nullptr)
        return 0;
    // First of all: a player that comes between the two calls then sees this picture twice, which
    // is harmless, instead of pictures that build on one it has never seen.
    if (IsKeyFrame(data, length))
        sink->UpdateKeyFrame(key, data, length);
    return sink->SteramCallback(std::move(key), data, length);
}

int KeyFrameSink::MsgCallback(std::string key, const char* message) {
    IStreamCallback* const sink = sink_;
    return sink != nullptr ? sink->MsgCallback(std::move(key), message) : 0;
}

void KeyFrameSink::UpdateKeyFrame(std::string key, char* data, int length) {
    if (IStreamCallback* const sink = sink_)
        sink->UpdateKeyFrame(std::move(key), data, length);
}

int KeyFrameSink::QueryDataCountToSend(std::string key) {
    IStreamCallback* const sink = sink_;
    return sink != nullptr ? sink->QueryDataCountToSend(std::move(key)) : -1;
}

}  // namespace vms::httpdevice
