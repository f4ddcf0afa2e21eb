#include "sim/rtsp/CameraMounts.h"

namespace {

// GObject builds the class from plain C structures and functions.
struct CameraMounts {
    GstRTSPMountPoints parent;
    const vms::sim::CameraDirectory* directory;
};

struct CameraMountsClass {
    GstRTSPMountPointsClass parent;
};

GType camera_mounts_get_type();

G_DEFINE_TYPE(CameraMounts, camera_mounts, GST_TYPE_RTSP_MOUNT_POINTS)

gchar* MakePath(GstRTSPMountPoints* mounts, const GstRTSPUrl* url) {
    const auto* self = reinterpret_cast<CameraMounts*>(mounts);
    const auto target = self->directory->Find(url->abspath ? url->abspath : "");
    if (target.camera == nullptr)
        return nullptr;
    const std::string path = std::string("/") + vms::sim::FormatOf(target.clip).name + target.rest;
    return g_strdup(path.c_str());
}

void camera_mounts_class_init(CameraMountsClass* type) {
    type->parent.make_path = MakePath;
}

void camera_mounts_init(CameraMounts* self) {
    self->directory = nullptr;
}

}  // namespace

namespace vms::sim {

GstRTSPMountPoints* NewCameraMounts(const CameraDirectory& directory) {
    auto* mounts = static_cast<CameraMounts*>(g_object_new(camera_mounts_get_type(), nullptr));
    mounts->directory = &directory;
    return &mounts->parent;
}

}  // namespace vms::sim
