#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace vms {

/// Tells one content of a file from another.
struct FileVersion {
    int64_t changed = 0;  ///< ns since the Unix epoch
    int64_t size = 0;     ///< bytes

    bool operator==(const FileVersion&) const = default;
};

/// @return nothing for what is no ordinary file. Re-entrant.
std::optional<FileVersion> FileVersionOf(const std::filesystem::path& file);

}  // namespace vms
