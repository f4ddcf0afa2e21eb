#include "host/play/ElementaryFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/HostError.h"
#include "host/play/OutputFile.h"

namespace vms {

namespace {

std::FILE* OpenToWrite(const std::string& path) {
    if (path != kStandardOutput)
        return std::fopen(path.c_str(), "wbe");
    const int descriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    return descriptor < 0 ? nullptr : fdopen(descriptor, "wb");
}

}  // namespace

ElementaryFile::ElementaryFile(const std::string& path, UnitCodec codec, const std::string& name)
    : name_(name), codec_(codec), file_(OpenToWrite(path)) {
    if (file_ == nullptr)
        Fail();
}

void ElementaryFile::Fail() const {
    throw HostError("cannot write " + name_ + ": " + std::strerror(errno));
}

void ElementaryFile::Take(const UnitHeader& header, std::string_view payload) {
    if (header.codec != codec_)
        return;
    // Whoever reads a pipe has each unit as it comes.
    if (std::fwrite(payload.data(), 1, payload.size(), file_.get()) != payload.size() ||
        std::fflush(file_.get()) != 0)
        Fail();
}

void ElementaryFile::Finish() {
    if (std::ferror(file_.get()) != 0)
        throw HostError("cannot write all of " + name_);
}

}  // namespace vms
