#include "drivers/mediafile/device/DeviceFolder.h"

#include <algorithm>
#include <string>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace fs = std::filesystem;

namespace vms::mediafile {
namespace {

void Refuse(const __tagTvVideoParam& device, const char* why) {
    VMS_LOG(2, "DeviceFolder", "device \"%.100s\" (\"%.200s\") has no folder: %s",
            device.id.c_str(), device.ip.c_str(), why);
}

/// Texts that the file system would cut short.
bool HasNul(const std::string& text) {
    return text.find('\0') != std::string::npos;
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
    fs::path folder;
    if (roots.Folders().empty()) {
        Refuse(device, "\"streamserver.content\" of the module's configuration names none");
    } else if (HasNul(device.ip) || HasNul(device.id)) {
        Refuse(device, "a name must not contain NUL");
    } else {
        const bool isAbsolute = fs::path(device.ip).is_absolute();
        folder = isAbsolute ? fs::path(device.ip) : NamedFolder(roots, device);
        if (folder.empty()) {
            Refuse(device, "a name must not contain \".\" or \"..\"");
        } else if (!roots.Hold(folder)) {
            Refuse(device,
                   "it would lie outside of \"streamserver.content\" of the module's "
                   "configuration; add a folder that holds it there");
            folder.clear();
        }
    }
    return folder;
}

}  // namespace vms::mediafile
