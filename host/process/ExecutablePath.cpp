#include "host/process/ExecutablePath.h"

#include <filesystem>

#include "host/text/HostError.h"

namespace vms::host {

std::string DefaultLibraryPath() {
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        throw HostError("cannot find the folder of the executable: " + error.message());
    return (self.parent_path() / "../lib/libdeviceaccess.so").lexically_normal().string();
}

}  // namespace vms::host
