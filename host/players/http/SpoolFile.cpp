#include "host/players/http/SpoolFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "host/text/HostError.h"

namespace vms::host {
namespace {

/// Some file systems have no files without a name: there it is taken away at once.
int OpenUnnamed(const std::filesystem::path& folder) {
    const int file = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL))
        return file;
    std::string name = folder / "spoolXXXXXX";
    const int named = mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0)
        unlink(name.c_str());
    return named;
}

}  // namespace

bool SpoolRoom::Take(uint64_t bytes) {
    while (!TryToTake(bytes)) {
        if (!evict_())
            return false;
    }
    return true;
}

bool SpoolRoom::TryToTake(uint64_t bytes) {
    uint64_t used = used_;
    do {
        if (bytes > most_ || used > most_ - bytes)
            return false;
    } while (!used_.compare_exchange_weak(used, used + bytes));
    return true;
}

SpoolFile::SpoolFile(const std::filesystem::path& folder, SpoolRoom& room)
    : room_(room), file_(OpenUnnamed(folder)) {
    if (file_ < 0)
        throw HostError("no file can be written to " + folder.string() + ": " +
                        std::strerror(errno));
}

SpoolFile::~SpoolFile() {
    close(file_);
    room_.GiveBack(size_);
}

void SpoolFile::Append(std::string_view bytes) {
    if (!room_.Take(bytes.size()))
        throw HostError("the room for downloads is used up");
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = pwrite(file_, bytes.data() + written, bytes.size() - written,
                                     static_cast<off_t>(size_ + written));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            room_.GiveBack(bytes.size());
            throw HostError(std::string("the disk takes no more: ") + std::strerror(errno));
        }
        written += static_cast<size_t>(count);
    }
    size_ += bytes.size();
}

std::string SpoolFile::Read(uint64_t offset, size_t most) const {
    const uint64_t size = size_;
    if (offset >= size)
        return {};
    std::string bytes(std::min<uint64_t>(most, size - offset), '\0');
    size_t read = 0;
    while (read < bytes.size()) {
        const ssize_t count = pread(file_, bytes.data() + read, bytes.size() - read,
                                    static_cast<off_t>(offset + read));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            throw HostError("a download cannot be read back");
        read += static_cast<size_t>(count);
    }
    return bytes;
}

}  // namespace vms::host
