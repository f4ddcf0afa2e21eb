#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace vms::host {

/// So many random bytes, at most 256. @throws HostError when the system gives none
std::string RandomKey(size_t length);

/// The folder of what lasts: for nobody but its owner.
class StateFolder {
public:
    /// Makes the folder (mode 0700) unless it is there. @throws HostError when it cannot be made or
    /// used, or others have access to it
    explicit StateFolder(std::string path);

    const std::string& Path() const { return path_; }

    /// The path of a file in it, which is made (empty, mode 0600) unless it is there.
    /// @throws HostError
    std::string File(const std::string& name) const;

    /// The content of a file of random bytes, made once, whoever comes first.
    /// @throws HostError when it cannot be made or read, or has another length
    std::string Key(const std::string& name, size_t length) const;

private:
    void WriteKey(const std::string& path, const std::string& bytes) const;

    std::string path_;
    uid_t owner_ = 0;  ///< whose the files become, also when root works on another's folder
    gid_t group_ = 0;
};

}  // namespace vms::host
