#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace vms::host::test {

/// A file with a given content, removed with the object.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& content = {})
        : path_((std::filesystem::temp_directory_path() / "vmshost-XXXXXX").string()) {
        const int descriptor = mkstemp(path_.data());
        if (descriptor < 0)
            throw std::runtime_error("no temporary file");
        close(descriptor);
        std::ofstream(path_) << content;
    }
    ~TemporaryFile() { unlink(path_.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

}  // namespace vms::host::test
