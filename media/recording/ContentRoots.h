#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "platform/Mutex.h"

namespace vms {

/// The folders that hold all that may be read and written, whatever names and links say.
/// Thread-safe.
class ContentRoots {
public:
    /// @param folders separated by ":"; "/" holds everything, "" nothing
    explicit ContentRoots(const std::string& folders);

    const std::vector<std::filesystem::path>& Folders() const { return folders_; }

    /// Whether a path is one of the folders or lies below one, links of both followed. What is not
    /// there counts by the place where it would be; what cannot be looked at is not held.
    bool Hold(const std::filesystem::path& path) const;

    /// The same with a log line for a refusal: each path's once, until a hundred others followed.
    bool Admit(const std::filesystem::path& path) const VMS_EXCLUDES(mutex_);

private:
    std::vector<std::filesystem::path> folders_;

    mutable Mutex mutex_;
    mutable std::set<std::string> told_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms
