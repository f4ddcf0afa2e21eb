#include "drivers/mediafile/device/DeviceFolder.h"

#include <algorithm>
#include <string>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace fs = std::filesystem;

namespace vms::mediafile {
namespace {

fs::path Refuse(const __tagTvVideoParam& device, const char* why) {
    VMS_LOG(2, "DeviceFolder", "device \"%.100s\" at \"%.200s\" has no folder: %s",
            device.id.c_str(), device.ip.c_str(), why);
    return {};
}

/// A name from a description must not lead out of a root.
bool StaysBelow(const fs::path& name) {
    return !name.empty() && name.is_relative() &&
           std::none_of(name.begin(), name.end(),
                        [](const fs::path& part) { return part == ".." || part == "."; });
}

/// A folder of that name below the first root that has it; empty when none has.
fs::path FolderBelow(const ContentRoots& roots, const fs::path& name) {
    if (!StaysBelow(name))
        return {};
    for (const fs::path& root : roots.Folders()) {
        std::error_code error;
        if (fs::is_directory(root / name, error))
            return root / name;
    }
    return {};
}

fs::path NamedFolder(const ContentRoots& roots, const __tagTvVideoParam& device) {
    for (const std::string& name : {device.ip, device.id}) {
        if (fs::path folder = FolderBelow(roots, name); !folder.empty())
            return folder;
    }
    return StaysBelow(device.id) ? roots.Folders().front() / fs::path(device.id) : fs::path();
}

}  // namespace

fs::path DeviceFolder(const ContentRoots& roots, const __tagTvVideoParam& device) {
    if (roots.Folders().empty())
        return Refuse(device, "the module's configuration has no \"streamserver.content\"");
    const fs::path address(device.ip);
    const fs::path folder = address.is_absolute() ? address : NamedFolder(roots, device);
    if (folder.empty())
        return Refuse(device, "its names are empty, or lead upwards");
    if (!roots.Hold(folder))
        return Refuse(device,
                      "it lies outside; \"streamserver.content\" of the module's "
                      "configuration must name a folder that holds it");
    return folder;
}

}  // namespace vms::mediafile
