#include "host/play/FileBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/play/OutputFile.h"
#include "media/MediaError.h"

namespace vms::host {
namespace {

std::FILE* OpenToWrite(const std::string& path) {
    if (path != kStandardOutput)
        return std::fopen(path.c_str(), "wbe");
    const int descriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    return descriptor < 0 ? nullptr : fdopen(descriptor, "wb");
}

void Require(bool done) {
    if (!done)
        throw MediaError(std::strerror(errno));
}

}  // namespace

FileBytes::FileBytes(const std::string& path) : file_(OpenToWrite(path)) {
    Require(file_ != nullptr);
    struct stat kind {};
    canSeek_ =
        path != kStandardOutput && fstat(fileno(file_.get()), &kind) == 0 && S_ISREG(kind.st_mode);
}

/// Whoever reads a pipe has each piece as it comes.
void FileBytes::Write(std::string_view bytes) {
    Require(std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size() &&
            std::fflush(file_.get()) == 0);
}

void FileBytes::Seek(uint64_t offset) {
    Require(fseeko(file_.get(), static_cast<off_t>(offset), SEEK_SET) == 0);
}

void FileBytes::Finish() {
    if (std::ferror(file_.get()) != 0)
        throw MediaError("not all of it has been taken");
    Require(std::fclose(file_.release()) == 0);
}

}  // namespace vms::host
