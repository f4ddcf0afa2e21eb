#include "media/recording/FileVersion.h"

#include <sys/stat.h>

namespace vms {

std::optional<FileVersion> FileVersionOf(const std::filesystem::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    const int64_t changed = status.st_mtim.tv_sec * int64_t{1'000'000'000} + status.st_mtim.tv_nsec;
    return FileVersion{changed, status.st_size};
}

}  // namespace vms
