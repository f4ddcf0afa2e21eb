#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/onvif/Camera.h"

namespace vms::sim {

/// Finds what a path such as /cam3/main/stream=0 speaks of. `cameras` must outlive it.
class CameraDirectory {
public:
    using Cameras = std::vector<std::unique_ptr<Camera>>;

    struct Target {
        Camera* camera = nullptr;  ///< null = no such camera or profile
        ClipKind clip = ClipKind::kH264Main;
        std::string rest;  ///< what follows the profile, with its slash
    };

    explicit CameraDirectory(const Cameras& cameras) : cameras_(cameras) {}

    Target Find(std::string_view path) const;

private:
    const Cameras& cameras_;
};

}  // namespace vms::sim
