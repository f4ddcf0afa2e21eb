#pragma once

#include <string>
#include <vector>

namespace vms::sim::httpdevice {

inline constexpr int kAacFrameSamples = 1024;

/// AAC-LC, mono, each frame behind its own ADTS header.
/// @param samples a whole number of frames, -1 to 1
/// @throws std::runtime_error when the encoder is not to be had
std::vector<std::string> EncodeAdts(const std::vector<float>& samples, int rate);

}  // namespace vms::sim::httpdevice
