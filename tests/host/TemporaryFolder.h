#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace vms::host::test {

/// A folder that is removed, with all that is in it, with the object.
class TemporaryFolder {
public:
    TemporaryFolder()
        : path_((std::filesystem::temp_directory_path() / "vmshost-XXXXXX").string()) {
        if (mkdtemp(path_.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

}  // namespace vms::host::test
