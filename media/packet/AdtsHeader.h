#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vms {

inline constexpr size_t kAdtsHeaderSize = 7;

/// What an ADTS header needs to know of an AAC stream.
struct AacConfig {
    int profile = 1;    ///< audio object type minus 1, 0..3
    int rateIndex = 0;  ///< index into the table of sample rates, 0..12
    int channels = 0;   ///< channel configuration, 1..7

    bool operator==(const AacConfig&) const = default;
};

/// The next frame of bytes that are made of ADTS frames.
struct AdtsFrame {
    AacConfig config;
    size_t size = 0;        ///< bytes in all
    size_t headerSize = 0;  ///< bytes of them in front of the frame itself
};

/// Reads an AudioSpecificConfig (ISO 14496-3). @return nothing when it cannot be put into ADTS
std::optional<AacConfig> ParseAacConfig(const uint8_t* data, size_t size);

/// @return nothing when no whole frame of a known kind stands in front
std::optional<AdtsFrame> ParseAdtsFrame(std::string_view bytes);

/// Samples per second; 0 = an index that stands for none.
int SampleRate(const AacConfig& config);

/// The config as an AudioSpecificConfig.
std::array<uint8_t, 2> MakeAacConfig(const AacConfig& config);

/// Header of one frame. @param frameSize bytes of the frame itself, below 8 KiB
std::array<uint8_t, kAdtsHeaderSize> MakeAdtsHeader(const AacConfig& config, size_t frameSize);

/// Whether a frame already begins with an ADTS header.
bool StartsWithAdts(const uint8_t* data, size_t size);

}  // namespace vms
