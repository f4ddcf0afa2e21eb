#pragma once

#include <cstddef>

namespace vms {

/// Bytes in front of every piece of talk audio that a player sends.
inline constexpr size_t kTalkHeaderSize = 32;

/// Longest piece: its length has 22 bits.
inline constexpr size_t kLongestTalk = (size_t{1} << 22) - 1;

/// Writes the header of a piece of talk audio. Re-entrant.
///
///     4  little-endian word: bits 0-1 = 2 (talk), bits 7-28 length; all else is 0
///
/// @param length bytes of audio, at most kLongestTalk
/// @param out    kTalkHeaderSize bytes, every one of which is written
void WriteTalkHeader(size_t length, char* out);

}  // namespace vms
