#include "host/play/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "host/text/HostError.h"

namespace fs = std::filesystem;

namespace vms::host {
namespace {

constexpr int kMostTries = 100;
constexpr mode_t kPermissions = 0666;  // less the user's mask

[[noreturn]] void Fail(const std::string& name) {
    throw HostError("cannot write " + name + ": " + std::strerror(errno));
}

/// A file that replaces another takes its permissions over.
void CopyPermissions(const std::string& from, int descriptor) {
    struct stat status {};
    if (stat(from.c_str(), &status) == 0)
        (void)!fchmod(descriptor, status.st_mode & 0777);
}

}  // namespace

OutputFile::OutputFile(const std::string& name)
    : name_(name == kStandardOutput ? "standard output" : name), place_(name) {
    std::error_code error;
    if (name == kStandardOutput) {
        isDirect_ = true;
        return;
    }
    if (fs::is_symlink(name, error)) {
        const fs::path target = fs::canonical(name, error);
        place_ = error ? name : target.string();
    }
    const fs::file_status status = fs::status(place_, error);
    if (fs::is_directory(status))
        throw HostError("cannot write " + name_ + ": it is a folder");
    isDirect_ = fs::exists(status) && !fs::is_regular_file(status);
    const fs::path folder = fs::path(place_).parent_path();
    if ((fs::exists(status) && access(place_.c_str(), W_OK) != 0) ||
        (!isDirect_ && access(folder.empty() ? "." : folder.c_str(), W_OK) != 0))
        Fail(name_);
}

OutputFile::~OutputFile() {
    if (!written_.empty() && !Leftover())
        unlink(written_.c_str());
}

std::string OutputFile::Open() {
    if (isDirect_)
        return place_;
    for (int i = 0; i < kMostTries; ++i) {
        const std::string path =
            place_ + "." + std::to_string(getpid()) + "-" + std::to_string(i) + ".part";
        const int descriptor =
            open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kPermissions);
        if (descriptor >= 0) {
            CopyPermissions(place_, descriptor);
            close(descriptor);
            return written_ = path;
        }
        if (errno != EEXIST)
            break;
    }
    Fail(name_);
}

bool OutputFile::Keep() {
    if (written_.empty())
        return true;
    if (!Leftover())
        return false;
    if (std::rename(written_.c_str(), place_.c_str()) != 0)
        Fail(name_);
    written_.clear();
    return true;
}

std::optional<std::string> OutputFile::Leftover() const {
    std::error_code error;
    if (written_.empty() || fs::file_size(written_, error) == 0 || error)
        return std::nullopt;
    return written_;
}

}  // namespace vms::host
