#pragma once

#include <string>

namespace vms::host {

/// The module library that is used when none is named: ../lib/libdeviceaccess.so as seen from the
/// folder of the running executable. It need not exist. @throws HostError without /proc
std::string DefaultLibraryPath();

}  // namespace vms::host
