#pragma once

#include <memory>
#include <string>

#include "media/mux/UnitSink.h"

namespace vms::host {

/// A file for what a player receives. Its kind is one of ts, mkv and mp4, which are containers, and
/// h264, h265, mjpeg, aac, alaw and mulaw, the bare elementary stream of that codec. Nothing is
/// touched before the first unit; the file is in its place after Finish, and whatever was there
/// stays when nothing has come that it can hold. When it cannot be written to its end, what has
/// come is left beside it, and the error says where.
/// @param name kStandardOutput is one, too. @param kind "" = as the name ends; ts on standard
/// output
/// @throws HostError for other kinds, and when there is no folder to write to
std::unique_ptr<UnitSink> OpenMediaOutput(const std::string& name, const std::string& kind = "");

}  // namespace vms::host
