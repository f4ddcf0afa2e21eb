#include "sim/rtsp/CameraDirectory.h"

#include <algorithm>
#include <charconv>

namespace vms::sim {

namespace {

constexpr std::string_view kPrefix = "/cam";
// Profiles beyond the third repeat the paths of the first three.
constexpr int kPaths = 3;

}  // namespace

CameraDirectory::Target CameraDirectory::Find(std::string_view path) const {
    if (path.substr(0, kPrefix.size()) != kPrefix)
        return {};
    path.remove_prefix(kPrefix.size());
    size_t index = 0;
    const auto [end, error] = std::from_chars(path.data(), path.data() + path.size(), index);
    path.remove_prefix(static_cast<size_t>(end - path.data()));
    if (error != std::errc() || index >= cameras_.size() || path.substr(0, 1) != "/")
        return {};
    const size_t slash = path.find('/', 1);
    const std::string_view name = path.substr(1, slash == path.npos ? path.npos : slash - 1);
    Camera& camera = *cameras_[index];
    for (int i = 0; i < std::min(kPaths, camera.ProfileCount()); ++i) {
        const StreamProfile profile = camera.Profile(i);
        if (profile.path == name)
            return {&camera, profile.clip, std::string(path.substr(std::min(slash, path.size())))};
    }
    return {};
}

}  // namespace vms::sim
