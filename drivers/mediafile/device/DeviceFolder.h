#pragma once

#include <filesystem>

#include "media/recording/ContentRoots.h"
#include "module/DeviceRecords.h"

namespace vms::mediafile {

/// The folder that a device description means: an absolute "ip" if that lies within the roots;
/// otherwise, below the first root that has it, the "ip" if there is such a folder, else the
/// identifier. Anything else is refused with a log line. Re-entrant.
/// @return empty when the description means no folder; it need not exist
std::filesystem::path DeviceFolder(const ContentRoots& roots, const __tagTvVideoParam& device);

}  // namespace vms::mediafile
