#pragma once

#include <cstddef>

namespace vms {

/// Of the device's packets and of the frames made of them alike.
inline constexpr size_t kFaceHeaderSize = 32;

/// Whether a packet begins with its signature. Re-entrant. @param device kFaceHeaderSize bytes
bool IsFacePacket(const char* device);

/// Turns the header of a device's packet into that of a stream frame. Re-entrant.
/// @param device kFaceHeaderSize bytes
/// @param stream kFaceHeaderSize bytes, every one of which is written
void ConvertFaceHeader(const char* device, char* stream);

}  // namespace vms
