#pragma once

#include <string>

namespace vms::host {

/// Sound to say to a device: 8 kHz mono in G.711.
struct TalkFile {
    int parameter = 1;  ///< for the talk request: 1 = A-law, 2 = mu-law
    std::string sound;  ///< one byte a sample
};

/// Reads an audio file (WAV and others) that holds such sound.
/// @throws HostError, with the way to make one when it holds other sound
TalkFile ReadTalkFile(const std::string& path);

/// A unit of talk audio: 32 zero bytes but for the word at offset 4, 2 | (length << 7), and the
/// payload. @param sound below 4 MiB
std::string TalkUnit(const std::string& sound);

}  // namespace vms::host
