#include "host/state/StateFolder.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "host/text/HostError.h"

namespace vms::host {
namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

[[noreturn]] void Fail(const std::string& path, const std::string& problem) {
    throw HostError(path + ": " + problem);
}

[[noreturn]] void FailWithErrno(const std::string& path) {
    Fail(path, std::strerror(errno));
}

/// A descriptor that is closed with its scope.
class Descriptor {
public:
    Descriptor(const std::string& path, int flags)
        : value_(open(path.c_str(), flags | O_CLOEXEC, kFileMode)) {}
    ~Descriptor() {
        if (value_ >= 0)
            close(value_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Value() const { return value_; }

private:
    const int value_;
};

/// For its owner alone.
bool IsMadePrivate(int file, uid_t owner, gid_t group) {
    return fchmod(file, kFileMode) == 0 && (geteuid() != 0 || fchown(file, owner, group) == 0);
}

/// So that a new name in it survives a power cut.
void SyncFolder(const std::string& path) {
    const Descriptor folder(path, O_RDONLY | O_DIRECTORY);
    if (folder.Value() < 0 || fsync(folder.Value()) != 0)
        FailWithErrno(path);
}

}  // namespace

std::string RandomKey(size_t length) {
    std::string bytes(length, '\0');
    if (getrandom(bytes.data(), length, 0) != static_cast<ssize_t>(length))
        throw HostError("the system gives no random bytes");
    return bytes;
}

StateFolder::StateFolder(std::string path) : path_(std::move(path)) {
    if (mkdir(path_.c_str(), kFolderMode) != 0 && errno != EEXIST)
        FailWithErrno(path_);
    struct stat info {};
    if (stat(path_.c_str(), &info) != 0)
        FailWithErrno(path_);
    if (!S_ISDIR(info.st_mode))
        Fail(path_, "is no folder");
    if (info.st_uid != geteuid() && geteuid() != 0)
        Fail(path_, "the state folder belongs to another user");
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        Fail(path_, "others have access to the state folder: chmod 700 it, or name a new one");
    owner_ = info.st_uid;
    group_ = info.st_gid;
}

std::string StateFolder::File(const std::string& name) const {
    const std::string path = path_ + "/" + name;
    const Descriptor file(path, O_RDWR | O_CREAT | O_NOFOLLOW);
    if (file.Value() < 0 || !IsMadePrivate(file.Value(), owner_, group_))
        FailWithErrno(path);
    return path;
}

void StateFolder::WriteKey(const std::string& path, const std::string& bytes) const {
    const Descriptor file(path, O_WRONLY | O_CREAT | O_EXCL);
    if (file.Value() < 0 || !IsMadePrivate(file.Value(), owner_, group_) ||
        write(file.Value(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) ||
        fsync(file.Value()) != 0)
        FailWithErrno(path);
}

std::string StateFolder::Key(const std::string& name, size_t length) const {
    const std::string path = path_ + "/" + name;
    if (access(path.c_str(), F_OK) != 0) {
        // Under its name only when it is whole; of two who make one the first stays.
        const std::string fresh = path + "." + std::to_string(getpid());
        unlink(fresh.c_str());
        WriteKey(fresh, RandomKey(length));
        const bool isThere = link(fresh.c_str(), path.c_str()) == 0 || errno == EEXIST;
        const int problem = errno;
        unlink(fresh.c_str());
        if (!isThere)
            Fail(path, std::strerror(problem));
        SyncFolder(path_);
    }
    const Descriptor file(path, O_RDONLY | O_NOFOLLOW);
    std::string bytes(length + 1, '\0');
    const ssize_t count = file.Value() < 0 ? -1 : read(file.Value(), bytes.data(), bytes.size());
    if (count < 0)
        FailWithErrno(path);
    if (static_cast<size_t>(count) != length)
        Fail(path, "is not the key that was made here");
    bytes.resize(length);
    return bytes;
}

}  // namespace vms::host
