#include "videodevice/streams/TalkSessions.h"

#include <array>
#include <cstring>

#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/core/Guarded.h"

// A media unit begins with a header of 32 bytes. Only one little-endian word of it counts here:
//
//   offset 4   bits 0..1  frame type, 2 = audio
//              bits 7..28 payload length in bytes
//   offset 32  payload

namespace vms {
namespace {

constexpr int kHeaderLength = 32;
constexpr int kWordOffset = 4;
constexpr uint32_t kAudio = 2;

uint32_t HeaderWord(const char* unit) {
    std::array<uint8_t, 4> bytes{};
    std::memcpy(bytes.data(), unit + kWordOffset, bytes.size());
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

/// Payload length of a whole audio unit; -1 for anything else.
int AudioLength(const char* unit, int length) {
    if (unit == nullptr || length < kHeaderLength)
        return -1;
    const uint32_t word = HeaderWord(unit);
    const int payload = static_cast<int>(word >> 7 & 0x3fffffu);
    const bool whole = payload <= length - kHeaderLength;
    return (word & 3u) == kAudio && whole ? payload : -1;
}

void End(const TalkTable::Talk& talk) {
    if (talk != nullptr)
        Guarded("StopTalk", [&] { talk->StopTalk(); });
}

}  // namespace

int TalkSessions::Start(long long connectionId, const std::string& key, int parameter) {
    const auto stream = streams_.Find(key);
    if (stream == nullptr || stream->previewServer == nullptr)
        return -1;
    const auto device = devices_.Find(stream->deviceId);
    if (device == nullptr)
        return -1;
    const TalkTable::Talk talk(context_.factory.CreateTalkServer(device.get()));
    if (talk == nullptr || talk->StartTalk(stream->channel, parameter) < 0)
        return 0;
    Stop(connectionId);
    End(talks_.Insert(connectionId, talk));
    return 0;
}

int TalkSessions::Stop(long long connectionId) {
    const TalkTable::Talk talk = talks_.Take(connectionId);
    End(talk);
    return talk != nullptr ? 0 : -1;
}

void TalkSessions::Send(long long connectionId, const void* data, int length) {
    const TalkTable::Talk talk = talks_.Find(connectionId);
    const auto* const unit = static_cast<const char*>(data);
    const int payload = talk != nullptr ? AudioLength(unit, length) : -1;
    if (payload >= 0)
        Guarded("OnStream", [&] { talk->SendTalkData(unit + kHeaderLength, payload); });
}

}  // namespace vms
