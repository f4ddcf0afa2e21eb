#pragma once

#include <filesystem>
#include <string>

#include "module/DeviceRecords.h"

namespace vms::mediafile {

/// The folder that a device description means: an absolute "ip" as it stands; otherwise, below the
/// root, the "ip" if there is such a folder, else the identifier. Re-entrant.
/// @param root may be empty: then only an absolute "ip" means anything
/// @return empty when the description means no folder; it need not exist
std::filesystem::path DeviceFolder(const std::string& root, const __tagTvVideoParam& device);

}  // namespace vms::mediafile
