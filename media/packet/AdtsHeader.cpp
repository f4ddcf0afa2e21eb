#include "media/packet/AdtsHeader.h"

// ADTS header without CRC, bits from the most significant:
//
//   12 sync word (all ones) | 1 MPEG-2 | 2 layer (0) | 1 no CRC (1)
//    2 profile | 4 sample rate index | 1 private | 3 channel configuration | 4 copy and home bits
//   13 length with header | 11 fullness (all ones: variable rate) | 2 frames less one (0)

namespace vms {
namespace {

constexpr int kLowComplexity = 2;
constexpr int kLastAdtsType = 4;
constexpr int kEscapeType = 31;
constexpr int kLastRateIndex = 12;

}  // namespace

std::optional<AacConfig> ParseAacConfig(const uint8_t* data, size_t size) {
    if (data == nullptr || size < 2)
        return std::nullopt;
    int objectType = data[0] >> 3;
    const int rateIndex = ((data[0] & 7) << 1) | (data[1] >> 7);
    const int channels = (data[1] >> 3) & 0xf;
    if (objectType == 0 || objectType == kEscapeType || rateIndex > kLastRateIndex ||
        channels < 1 || channels > 7)
        return std::nullopt;
    // Extensions such as SBR ride on a low-complexity core that ADTS can name.
    if (objectType > kLastAdtsType)
        objectType = kLowComplexity;
    return AacConfig{objectType - 1, rateIndex, channels};
}

std::optional<AdtsFrame> ParseAdtsFrame(std::string_view bytes) {
    const auto* const data = reinterpret_cast<const uint8_t*>(bytes.data());
    if (!StartsWithAdts(data, bytes.size()))
        return std::nullopt;
    AdtsFrame frame;
    frame.config.profile = data[2] >> 6;
    frame.config.rateIndex = (data[2] >> 2) & 0xf;
    frame.config.channels = ((data[2] & 1) << 2) | (data[3] >> 6);
    frame.size = (size_t{data[3] & 3u} << 11) | (size_t{data[4]} << 3) | (data[5] >> 5);
    const bool hasCrc = (data[1] & 1) == 0;
    frame.headerSize = kAdtsHeaderSize + (hasCrc ? 2 : 0);
    const bool isSingle = (data[6] & 3) == 0;
    if (!isSingle || frame.config.channels == 0 || SampleRate(frame.config) == 0 ||
        frame.size <= frame.headerSize || frame.size > bytes.size())
        return std::nullopt;
    return frame;
}

int SampleRate(const AacConfig& config) {
    static constexpr std::array<int, kLastRateIndex + 1> kRates{
        96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350};
    const auto index = static_cast<size_t>(config.rateIndex);
    return index < kRates.size() ? kRates[index] : 0;
}

std::array<uint8_t, 2> MakeAacConfig(const AacConfig& config) {
    const int type = config.profile + 1;
    return {static_cast<uint8_t>((type << 3) | (config.rateIndex >> 1)),
            static_cast<uint8_t>((config.rateIndex << 7) | (config.channels << 3))};
}

std::array<uint8_t, kAdtsHeaderSize> MakeAdtsHeader(const AacConfig& config, size_t frameSize) {
    const auto length = static_cast<unsigned>(frameSize + kAdtsHeaderSize);
    const auto byte = [](unsigned value) { return static_cast<uint8_t>(value & 0xff); };
    const auto profile = static_cast<unsigned>(config.profile);
    const auto rate = static_cast<unsigned>(config.rateIndex);
    const auto channels = static_cast<unsigned>(config.channels);
    return {0xff,
            0xf1,
            byte((profile << 6) | (rate << 2) | (channels >> 2)),
            byte(((channels & 3) << 6) | (length >> 11)),
            byte(length >> 3),
            byte(((length & 7) << 5) | 0x1f),
            0xfc};
}

bool StartsWithAdts(const uint8_t* data, size_t size) {
    return size >= kAdtsHeaderSize && data[0] == 0xff && (data[1] & 0xf6) == 0xf0;
}

}  // namespace vms
