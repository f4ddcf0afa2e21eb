#include "media/recording/ContentRoots.h"

#include <algorithm>
#include <climits>
#include <sstream>

#include "media/MediaLog.h"

namespace fs = std::filesystem;

namespace vms {
namespace {

constexpr size_t kMaxTold = 100;
constexpr size_t kMaxToldLength = 200;

/// @return empty for what cannot be looked at
fs::path Resolve(const fs::path& path) {
    if (path.empty() || path.native().size() >= PATH_MAX ||
        path.native().find('\0') != std::string::npos)
        return {};
    std::error_code error;
    fs::path real = fs::canonical(path, error);
    if (!error)
        return real;
    real = fs::absolute(path, error);
    if (!error)
        real = fs::weakly_canonical(real, error);
    if (error)
        return {};
    return real.has_filename() ? real : real.parent_path();
}

bool LiesIn(const fs::path& path, const fs::path& folder) {
    return !folder.empty() &&
           std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first ==
               folder.end();
}

}  // namespace

ContentRoots::ContentRoots(const std::string& folders) {
    std::istringstream parts(folders);
    for (std::string part; std::getline(parts, part, ':');) {
        if (!part.empty())
            folders_.emplace_back(part);
    }
}

bool ContentRoots::Hold(const fs::path& path) const {
    const fs::path real = Resolve(path);
    return !real.empty() &&
           std::any_of(folders_.begin(), folders_.end(),
                       [&real](const fs::path& folder) { return LiesIn(real, Resolve(folder)); });
}

bool ContentRoots::Admit(const fs::path& path) const {
    if (Hold(path))
        return true;
    const std::string text = path.native().substr(0, kMaxToldLength);
    MutexLock lock(mutex_);
    if (told_.size() >= kMaxTold)
        told_.clear();
    const bool news = told_.insert(text).second;
    lock.Unlock();
    if (news)
        VMS_MEDIA_LOG(2, "ContentRoots", "\"%s\" leads out of the content folders", text.c_str());
    return false;
}

}  // namespace vms
