#include "drivers/mediafile/device/DeviceFolder.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace vms::mediafile {
namespace {

/// A name from a description must not lead out of the root.
bool StaysBelow(const fs::path& name) {
    return !name.empty() && name.is_relative() &&
           std::none_of(name.begin(), name.end(),
                        [](const fs::path& part) { return part == ".." || part == "."; });
}

}  // namespace

fs::path DeviceFolder(const std::string& root, const __tagTvVideoParam& device) {
    const fs::path address(device.ip);
    if (address.is_absolute())
        return address;
    if (root.empty())
        return {};
    std::error_code error;
    if (StaysBelow(address) && fs::is_directory(root / address, error))
        return root / address;
    return StaysBelow(device.id) ? root / fs::path(device.id) : fs::path();
}

}  // namespace vms::mediafile
