#pragma once

#include <string>

#include "module/DeviceRecords.h"

namespace vms {

/// Turns the stream URI a camera gave into one a player can open without a separate login.
///
/// A plain URI keeps everything behind its first seven characters ("rtsp://"); of an rtsps URI only
/// the scheme counts, host and path come from the device record and port 554. Credentials are
/// inserted as they are, and the URL ends at its first blank.
/// @throws std::out_of_range for a URI shorter than seven characters without "rtsps" in it
std::string MakePreviewUrl(const std::string& rawUri, const __tagTvVideoParam& device, int channel,
                           int streamIndex);

}  // namespace vms
