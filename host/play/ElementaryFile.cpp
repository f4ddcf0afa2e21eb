#include "host/play/ElementaryFile.h"

#include <cerrno>
#include <cstring>

#include "host/HostError.h"

namespace vms {

ElementaryFile::ElementaryFile(const std::string& path, UnitCodec codec)
    : path_(path), codec_(codec), file_(std::fopen(path.c_str(), "wbe")) {
    if (file_ == nullptr)
        throw HostError("cannot write " + path + ": " + std::strerror(errno));
}

void ElementaryFile::Take(const UnitHeader& header, std::string_view payload) {
    if (header.codec == codec_)
        std::fwrite(payload.data(), 1, payload.size(), file_.get());
}

void ElementaryFile::Finish() {
    if (std::fflush(file_.get()) != 0 || std::ferror(file_.get()) != 0)
        throw HostError("cannot write all of " + path_);
}

}  // namespace vms
