#include "host/ExecutablePath.h"

#include <filesystem>

#include "host/HostError.h"

namespace vms {

std::string DefaultLibraryPath() {
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        throw HostError("cannot find the folder of the executable: " + error.message());
    return (self.parent_path() / "../lib/libdeviceaccess.so").lexically_normal().string();
}

}  // namespace vms
